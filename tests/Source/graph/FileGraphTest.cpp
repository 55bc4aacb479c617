// The graph of a media file: what is tried in which order, what is logged, and what is removed.
#include <gmock/gmock.h>

#include "filters/OutsideInterfaces.h"
#include "filters/TransInPlaceFilter.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/FakeDeviceLists.h"
#include "tests/support/GraphKit.h"
#include "vimbrel/MediaSourceDS.h"

namespace Vimbrel::test {
namespace {

using Lines = std::vector<std::string>;

// What is not there, or does not do what it should.
enum Fault : unsigned {
    no_graph = 1,
    no_splitter_source = 2,
    no_splitter = 4,
    no_video_decoder = 8,
    no_audio_decoder = 16,
    no_subtitle_filter = 32,
    no_loader = 64,     // the splitter source cannot load files
    refuses = 128,      // nor this one
    no_outputs = 256,   // its streams are of unknown kinds
    wide_samples = 512  // which the pitch filter does not take
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class Splitter final : public TestSource {
public:
    Splitter(unsigned faults, bool pictures, bool sound) : TestSource(2), fault(faults) {
        const bool wide = (faults & wide_samples) != 0;
        WAVEFORMATEX format{WAVE_FORMAT_PCM, 2, 44'100, 176'400, 4, 16, 0};
        if (wide) format = {WAVE_FORMAT_PCM, 2, 44'100, 352'800, 8, 32, 0};
        CMediaType pcm;
        pcm.majortype = MEDIATYPE_Audio;
        pcm.subtype = MEDIASUBTYPE_PCM;
        pcm.SetFormat(FORMAT_WaveFormatEx, &format, sizeof format);
        CMediaType unknown;
        unknown.majortype = CLSID_FilterGraph;
        const bool known = (faults & no_outputs) == 0;
        Output(0).types = {known && pictures ? VideoType(MEDIASUBTYPE_RGB32, 8, -4, 128) : unknown};
        Output(1).types = {known && sound ? pcm : unknown};
    }

protected:
    void* FindInterface(REFIID iid) override {
        if (iid == __uuidof(IFileSourceFilter) && (fault & no_loader) == 0)
            return static_cast<IFileSourceFilter*>(&loader);
        return TestSource::FindInterface(iid);
    }

private:
    class Loader final : public Face<IFileSourceFilter> {
    public:
        explicit Loader(Splitter& splitter) : Face(splitter), owner(splitter) {}
        HRESULT STDMETHODCALLTYPE Load(LPCOLESTR, const AM_MEDIA_TYPE*) override {
            return (owner.fault & refuses) != 0 ? VFW_E_CANNOT_RENDER : S_OK;
        }
        HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR*, AM_MEDIA_TYPE*) override {
            return E_NOTIMPL;
        }

    private:
        Splitter& owner;
    };

    const unsigned fault;
    Loader loader{*this};
};

// Passes on what it gets of one kind.
class PassingDecoder final : public CTransInPlaceFilter {
public:
    explicit PassingDecoder(REFGUID major) : CTransInPlaceFilter(GUID_NULL, false), kind(major) {}
    HRESULT CheckInputType(const CMediaType* type) override {
        return type->majortype == kind ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
    }
    HRESULT Transform(IMediaSample*) override { return S_OK; }

private:
    const GUID kind;
};
#pragma GCC diagnostic pop

struct Case {
    const char* name;
    unsigned faults;
    bool pictures;  // in the file
    bool sound;
    const wchar_t* device;
    bool with_video;
    bool opens;
    bool has_video;
    bool has_audio;
    Lines log;  // levels and texts
};

void PrintTo(const Case& each, std::ostream* out) { *out << each.name; }

class FileGraphs : public testing::TestWithParam<Case> {
protected:
    FileGraphs() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        Override(class_splitter_source, no_splitter_source, [] { return MakeSplitter(); });
        // A splitter without a source has nothing to connect to.
        Override(class_splitter, no_splitter, [] { return new PassingDecoder(GUID_NULL); });
        Override(class_video_decoder, no_video_decoder,
                 [] { return new PassingDecoder(MEDIATYPE_Video); });
        Override(class_audio_decoder, no_audio_decoder,
                 [] { return new PassingDecoder(MEDIATYPE_Audio); });
        Override(class_subtitle_filter, no_subtitle_filter,
                 [] { return new PassingDecoder(MEDIATYPE_Video); });
        if ((GetParam().faults & no_graph) != 0)
            overrides.push_back(std::make_unique<ScopedClassOverride>(
                CLSID_FilterGraph, [](REFIID, void**) { return REGDB_E_CLASSNOTREG; }));
        lists.outputs.push_back({L"DirectSound: Speakers", [](REFIID iid, void** object) {
                                     ComPtr<TestRenderer> made;
                                     made.Attach(new TestRenderer(MEDIASUBTYPE_PCM));
                                     return made->QueryInterface(iid, object);
                                 }});
    }
    ~FileGraphs() override {
        while (!overrides.empty()) overrides.pop_back();
        CoUninitialize();
    }
    template <class Make>
    void Override(REFCLSID clsid, unsigned fault, Make make) {
        overrides.push_back(std::make_unique<ScopedClassOverride>(
            clsid, [fault, make](REFIID iid, void** object) -> HRESULT {
                if ((GetParam().faults & fault) != 0) return REGDB_E_CLASSNOTREG;
                ComPtr<CBaseFilter> made;
                made.Attach(make());
                return made->QueryInterface(iid, object);
            }));
    }
    static Splitter* MakeSplitter() {
        return new Splitter(GetParam().faults, GetParam().pictures, GetParam().sound);
    }
    static Lines Log() {
        Lines lines;
        for (const LogLine& each : TakeLog())
            lines.push_back(std::to_string(each.level) + " " + each.text);
        return lines;
    }
    // The system's graph connects a decoder only if it has to, and these change nothing; it also
    // looks for the file before it makes a source.
    static Lines Comparable(Lines lines) {
#ifdef _WIN32
        std::erase_if(lines, [](const std::string& line) {
            return line.starts_with("0 Remove") && line.find("decoder") != std::string::npos;
        });
        for (std::string& line : lines) {
            if (line.starts_with("4 AddSourceFilter")) line.resize(line.find("0x"));
        }
#endif
        return lines;
    }

    FakeDeviceLists lists;
    std::vector<std::unique_ptr<ScopedClassOverride>> overrides;
};

TEST_P(FileGraphs, AreBuiltStepByStep) {
    const Case& each = GetParam();
    MediaSourceDS source;
    source.SetFileName(L"film.mkv", each.with_video);
    source.SetAudioRenderDevice(each.device);
    source.SetAutoloadSubtitle(true);
    TakeLog();
    EXPECT_EQ(source.Open(), each.opens);
    EXPECT_EQ(source.GetState(),
              each.opens ? MediaSource::State::Opened : MediaSource::State::Closed);
    EXPECT_EQ(Comparable(Log()), Comparable(each.log));
    if (each.opens) {
        EXPECT_EQ(source.GetMediaInfo().hasVideo, each.has_video);
        EXPECT_EQ(source.GetMediaInfo().hasAudio, each.has_audio);
    }
    source.Close();
    EXPECT_EQ(TestSource::alive, 0) << "nobody holds the graph any more";
    EXPECT_EQ(TestRenderer::alive, 0);
}

// No case has filter files beside the program.
const std::string source_file = "3 Add internal splitter source failed";
const std::string splitter_file = "3 Add internal splitter failed";
const std::string video_file = "3 Add internal video decoder failed";
const std::string audio_file = "3 Add audio decoder failed";
const std::string splitter_added = "0 Add the splitter filter";
const std::string speakers = "0 Audio renderer: Speakers";
const std::string no_splitter_left = "0 Remove the splitter (not connected)";
const std::string no_audio_left = "0 Remove audio decoder (not connected)";
const std::string no_video_left = "0 Remove video decoder (not connected)";
const std::string no_sink_left = "0 Remove video renderer (not connected)";
const std::string no_renderer_left = "0 Remove audio renderer (not connected)";
const std::string nothing_rendered = "4 No pins could be renderered!";

INSTANTIATE_TEST_SUITE_P(
    All, FileGraphs,
    testing::Values(
        Case{"Whole",
             0,
             true,
             true,
             L"Speakers",
             true,
             true,
             true,
             true,
             {source_file, video_file, audio_file, speakers}},
        Case{"NoDevice",
             0,
             true,
             true,
             L"",
             true,
             true,
             true,
             false,
             {source_file, video_file, audio_file, no_audio_left}},
        Case{"UnknownDevice",
             0,
             true,
             true,
             L"Horn",
             true,
             true,
             true,
             false,
             {source_file, video_file, audio_file, "4 Get audio renderer failed: Horn",
              no_audio_left}},
        Case{"PicturesOnly",
             0,
             true,
             false,
             L"Speakers",
             true,
             true,
             true,
             false,
             {source_file, video_file, audio_file, speakers, no_renderer_left, no_audio_left}},
        Case{"SoundOnly",
             0,
             false,
             true,
             L"Speakers",
             true,
             true,
             false,
             true,
             {source_file, video_file, audio_file, speakers, no_video_left, no_sink_left}},
        Case{"SoundWanted",
             0,
             true,
             true,
             L"Speakers",
             false,
             true,
             false,
             true,
             {source_file, video_file, audio_file, speakers, no_video_left}},
        Case{"SoundWantedWithoutDevice",
             0,
             true,
             true,
             L"",
             false,
             false,
             false,
             false,
             {source_file, video_file, audio_file}},
        Case{"NoGraph",
             no_graph,
             true,
             true,
             L"Speakers",
             true,
             false,
             false,
             false,
             {"4 Create IGraphBuilder failed - 0x80040154"}},
        Case{"NoSplitterSource",
             no_splitter_source,
             true,
             true,
             L"Speakers",
             true,
             false,
             false,
             false,
             {source_file, "4 Create splitter source failed - 0x80040154", splitter_file,
              splitter_added, video_file, audio_file, "4 AddSourceFilter failed - 0x80040154"}},
        Case{"NoSplitterAtAll",
             no_splitter_source | no_splitter,
             true,
             true,
             L"Speakers",
             true,
             false,
             false,
             false,
             {source_file, "4 Create splitter source failed - 0x80040154", splitter_file,
              "4 Create splitter filter failed - 0x80040154", video_file, audio_file,
              "4 AddSourceFilter failed - 0x80040154"}},
        Case{"SplitterSourceRefuses",
             refuses,
             true,
             true,
             L"Speakers",
             true,
             false,
             false,
             false,
             {source_file, "3 Splitter source failed to load file - 0x80040218", splitter_file,
              splitter_added, video_file, audio_file, "4 AddSourceFilter failed - 0x80040218"}},
        Case{"SplitterSourceLoadsNothing",
             no_loader,
             true,
             true,
             L"Speakers",
             true,
             false,
             false,
             false,
             {source_file, "3 Splitter source failed to load file - 0x80004002", splitter_file,
              splitter_added, video_file, audio_file, "4 AddSourceFilter failed - 0x80004002"}},
        Case{"NoDecoders",
             no_video_decoder | no_audio_decoder,
             true,
             true,
             L"Speakers",
             true,
             true,
             true,
             true,
             {source_file, video_file, "4 Create video decoder failed - 0x80040154", audio_file,
              "4 Create audio decoder failed - 0x80040154", speakers}},
        Case{"NoSubtitleFilter",
             no_subtitle_filter,
             true,
             true,
             L"Speakers",
             true,
             true,
             true,
             true,
             {source_file, video_file, audio_file, speakers, "3 Add vsfilter failed!"}},
        Case{"NoPitchFilter",
             wide_samples,
             true,
             true,
             L"Speakers",
             true,
             true,
             true,
             true,
             {source_file, video_file, audio_file, speakers,
              "4 Connect to audio processor failed - 0x80040217"}},
        Case{"NothingKnown",
             no_outputs,
             true,
             true,
             L"Speakers",
             true,
             false,
             false,
             false,
             {source_file, video_file, audio_file, speakers, nothing_rendered}}),
    testing::PrintToStringParamName());

}  // namespace
}  // namespace Vimbrel::test
