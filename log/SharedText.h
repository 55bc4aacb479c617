// A text that one thread may replace while others read it, without a lock.
#pragma once

#include <atomic>
#include <string>
#include <string_view>

namespace HalvorixAppLog {

// Setters take no lock by design and a reload sets every text again, so a plain string could be
// freed under a thread that is opening its file. Here each different text stays until the object's
// end; setting an equal one stores nothing.
class SharedText {
public:
    explicit SharedText(std::string_view initial = {})
        : current(new Node{std::string(initial), nullptr}) {}
    ~SharedText();
    SharedText(const SharedText&) = delete;
    SharedText& operator=(const SharedText&) = delete;

    // Valid as long as this object.
    const std::string& Get() const { return current.load(std::memory_order_acquire)->text; }
    void Set(std::string_view text);

private:
    struct Node {
        std::string text;
        const Node* previous;
    };

    std::atomic<const Node*> current;
};

}  // namespace HalvorixAppLog
