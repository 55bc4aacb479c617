// A text as a source. It keeps the text and a state; the application draws it.
#pragma once

#include <string>

#include "vimbrel/MediaSource.h"

namespace Vimbrel {

// Delivers no samples. Open, Play and Pause succeed in any state.
class VIMBREL_API MediaSourceText : public MediaSource {
public:
    MediaSourceText();
    ~MediaSourceText() override;

    // Stored for the application; no file is read. A null name becomes an empty one.
    void SetFileName(const wchar_t* name);
    const std::wstring& GetFileName() const { return fileName; }
    // A null text becomes an empty one.
    void SetText(const wchar_t* newText);
    const std::wstring& GetText() const { return text; }

    SourceType GetSourceType() override { return SourceType::Text; }
    bool Open() override;
    bool Play() override;
    bool Pause() override;
    void Stop() override;

private:
    std::wstring fileName;
    std::wstring text;
};

}  // namespace Vimbrel
