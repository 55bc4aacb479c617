// The graph of a media file: what is tried in which order, what is logged, and what is removed.
#include <gmock/gmock.h>

#include "com/ComError.h"
#include "filters/OutsideInterfaces.h"
#include "filters/TransInPlaceFilter.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/FakeDeviceLists.h"
#include "tests/support/GraphKit.h"
#include "vimbrel/MediaSourceDS.h"

namespace Vimbrel::test {
namespace {

using Lines = std::vector<std::string>;

// What is not there, or not as usual.
enum Condition : unsigned {
    no_graph = 1,
    no_splitter_source = 2,
    no_splitter = 4,
    no_video_decoder = 8,
    no_audio_decoder = 16,
    no_subtitle_filter = 32,
    no_loader = 64,        // the splitter source cannot load files
    refuses = 128,         // nor this one
    no_outputs = 256,      // its streams are of unknown kinds
    wide_samples = 512,    // which the pitch filter does not take
    no_pictures = 1024,    // in the file
    no_sound = 2048,       // in the file
    no_device = 4096,      // is set
    other_device = 8192,   // is set, which there is not
    sound_wanted = 16384,  // and no pictures
    broken = 32768         // the splitter source, which cannot even say so
};

enum Outcome : unsigned { fails = 0, has_video = 1, has_audio = 2, has_both = 3 };

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class Splitter final : public TestSource {
public:
    explicit Splitter(unsigned value) : TestSource(2), conditions(value) {
        WAVEFORMATEX format{WAVE_FORMAT_PCM, 2, 44'100, 176'400, 4, 16, 0};
        if (Is(wide_samples)) format = {WAVE_FORMAT_PCM, 2, 44'100, 352'800, 8, 32, 0};
        CMediaType pcm;
        pcm.majortype = MEDIATYPE_Audio;
        pcm.subtype = MEDIASUBTYPE_PCM;
        pcm.SetFormat(FORMAT_WaveFormatEx, &format, sizeof format);
        CMediaType unknown;
        unknown.majortype = CLSID_FilterGraph;
        const CMediaType pictures = VideoType(MEDIASUBTYPE_RGB32, 8, -4, 128);
        Output(0).types = {Is(no_outputs | no_pictures) ? unknown : pictures};
        Output(1).types = {Is(no_outputs | no_sound) ? unknown : pcm};
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (iid == __uuidof(IFileSourceFilter) && Is(broken)) return E_ACCESSDENIED;
        return TestSource::QueryInterface(iid, object);
    }

protected:
    void* FindInterface(REFIID iid) override {
        if (iid == __uuidof(IFileSourceFilter) && !Is(no_loader))
            return static_cast<IFileSourceFilter*>(&loader);
        return TestSource::FindInterface(iid);
    }

private:
    class Loader final : public Face<IFileSourceFilter> {
    public:
        explicit Loader(Splitter& splitter) : Face(splitter), owner(splitter) {}
        HRESULT STDMETHODCALLTYPE Load(LPCOLESTR, const AM_MEDIA_TYPE*) override {
            return owner.Is(refuses) ? VFW_E_CANNOT_RENDER : S_OK;
        }
        HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR*, AM_MEDIA_TYPE*) override {
            return E_NOTIMPL;
        }

    private:
        Splitter& owner;
    };

    bool Is(unsigned any) const { return (conditions & any) != 0; }

    const unsigned conditions;
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
    unsigned conditions;
    unsigned outcome;
    Lines log;  // levels and texts
};

void PrintTo(const Case& each, std::ostream* out) { *out << each.name; }

class FileGraphs : public testing::TestWithParam<Case> {
protected:
    FileGraphs() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        Override(class_splitter_source, no_splitter_source,
                 [] { return new Splitter(GetParam().conditions); });
        // A splitter without a source has nothing to connect to.
        Override(class_splitter, no_splitter, [] { return new PassingDecoder(GUID_NULL); });
        Override(class_video_decoder, no_video_decoder,
                 [] { return new PassingDecoder(MEDIATYPE_Video); });
        Override(class_audio_decoder, no_audio_decoder,
                 [] { return new PassingDecoder(MEDIATYPE_Audio); });
        Override(class_subtitle_filter, no_subtitle_filter,
                 [] { return new PassingDecoder(MEDIATYPE_Video); });
        if ((GetParam().conditions & no_graph) != 0)
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
    void Override(REFCLSID clsid, unsigned absent, Make make) {
        overrides.push_back(std::make_unique<ScopedClassOverride>(
            clsid, [absent, make](REFIID iid, void** object) -> HRESULT {
                if ((GetParam().conditions & absent) != 0) return REGDB_E_CLASSNOTREG;
                ComPtr<CBaseFilter> made;
                made.Attach(make());
                return made->QueryInterface(iid, object);
            }));
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
    const auto& [name, conditions, outcome, log] = GetParam();
    MediaSourceDS source;
    source.SetFileName(L"film.mkv", (conditions & sound_wanted) == 0);
    if ((conditions & no_device) == 0)
        source.SetAudioRenderDevice((conditions & other_device) != 0 ? L"Horn" : L"Speakers");
    source.SetAutoloadSubtitle(true);
    TakeLog();
    if ((conditions & broken) != 0) {
        EXPECT_THROW(source.Open(), ComError);
    } else {
        EXPECT_EQ(source.Open(), outcome != fails);
    }
    EXPECT_EQ(source.GetState(),
              outcome != fails ? MediaSource::State::Opened : MediaSource::State::Closed);
    EXPECT_EQ(Comparable(Log()), Comparable(log));
    if (outcome != fails) {
        EXPECT_EQ(source.GetMediaInfo().hasVideo, (outcome & has_video) != 0);
        EXPECT_EQ(source.GetMediaInfo().hasAudio, (outcome & has_audio) != 0);
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

const Case cases[] = {
    {"Whole", 0, has_both, {source_file, video_file, audio_file, speakers}},
    {"NoDevice", no_device, has_video, {source_file, video_file, audio_file, no_audio_left}},
    {"UnknownDevice",
     other_device,
     has_video,
     {source_file, video_file, audio_file, "4 Get audio renderer failed: Horn", no_audio_left}},
    {"PicturesOnly",
     no_sound,
     has_video,
     {source_file, video_file, audio_file, speakers, no_renderer_left, no_audio_left}},
    {"SoundOnly",
     no_pictures,
     has_audio,
     {source_file, video_file, audio_file, speakers, no_video_left, no_sink_left}},
    {"SoundWanted",
     sound_wanted,
     has_audio,
     {source_file, video_file, audio_file, speakers, no_video_left}},
    {"SoundWantedWithoutDevice",
     no_device | sound_wanted,
     fails,
     {source_file, video_file, audio_file}},
    {"NoGraph", no_graph, fails, {"4 Create IGraphBuilder failed - 0x80040154"}},
    {"NoSplitterSource",
     no_splitter_source,
     fails,
     {source_file, "4 Create splitter source failed - 0x80040154", splitter_file, splitter_added,
      video_file, audio_file, "4 AddSourceFilter failed - 0x80040154"}},
    {"NoSplitterAtAll",
     no_splitter_source | no_splitter,
     fails,
     {source_file, "4 Create splitter source failed - 0x80040154", splitter_file,
      "4 Create splitter filter failed - 0x80040154", video_file, audio_file,
      "4 AddSourceFilter failed - 0x80040154"}},
    {"SplitterSourceRefuses",
     refuses,
     fails,
     {source_file, "3 Splitter source failed to load file - 0x80040218", splitter_file,
      splitter_added, video_file, audio_file, "4 AddSourceFilter failed - 0x80040218"}},
    {"SplitterSourceLoadsNothing",
     no_loader,
     fails,
     {source_file, "3 Splitter source failed to load file - 0x80004002", splitter_file,
      splitter_added, video_file, audio_file, "4 AddSourceFilter failed - 0x80004002"}},
    {"SplitterSourceIsBroken", broken, fails, {source_file}},
    {"NoDecoders",
     no_video_decoder | no_audio_decoder,
     has_both,
     {source_file, video_file, "4 Create video decoder failed - 0x80040154", audio_file,
      "4 Create audio decoder failed - 0x80040154", speakers}},
    {"NoSubtitleFilter",
     no_subtitle_filter,
     has_both,
     {source_file, video_file, audio_file, speakers, "3 Add vsfilter failed!"}},
    {"NoPitchFilter",
     wide_samples,
     has_both,
     {source_file, video_file, audio_file, speakers,
      "4 Connect to audio processor failed - 0x80040217"}},
    {"NothingKnown",
     no_outputs,
     fails,
     {source_file, video_file, audio_file, speakers, nothing_rendered}}};

INSTANTIATE_TEST_SUITE_P(All, FileGraphs, testing::ValuesIn(cases),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace Vimbrel::test
