// A text as a source. It keeps the text and a state; drawing is the application's.
#pragma once

#include <string>

#include "vimbrel/MediaSource.h"

namespace Vimbrel {

// Gives no samples. Open, Play and Pause always succeed, in any order.
class VIMBREL_API MediaSourceText : public MediaSource {
public:
    MediaSourceText();
    ~MediaSourceText() override;

    // Kept for the application; no file is read. Null empties it.
    void SetFileName(const wchar_t* name);
    const std::wstring& GetFileName() const { return fileName; }
    // Null empties it.
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
