#include "log/SharedText.h"

namespace HalvorixAppLog {

SharedText::~SharedText() {
    for (const Node* node = current.load(); node;) {
        const Node* const previous = node->previous;
        delete node;
        node = previous;
    }
}

void SharedText::Set(std::string_view text) {
    const Node* previous = current.load(std::memory_order_acquire);
    if (previous->text == text) return;
    Node* const node = new Node{std::string(text), previous};
    while (!current.compare_exchange_weak(node->previous, node, std::memory_order_acq_rel)) {
    }
}

}  // namespace HalvorixAppLog
