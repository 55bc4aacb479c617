vimbrel_add_tests(gif_tests
    FileStreamTest.cpp
    GifDecoderTest.cpp
    GifEncoderTest.cpp
    GifTestKit.cpp
    PaletteTest.cpp
)
