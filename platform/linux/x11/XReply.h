// Replies and errors of the server, which the C library frees.
#pragma once

#include <cstdlib>
#include <memory>

namespace Vimbrel {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};

template <class Reply>
using XReply = std::unique_ptr<Reply, FreeDeleter>;

}  // namespace Vimbrel
