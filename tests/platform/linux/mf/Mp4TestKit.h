// Recordings by the pipeline alone, made in a line.
#pragma once

#include <memory>
#include <string>

#include "platform/linux/mf/session/TranscodePipeline.h"
#include "tests/support/Mp4Kit.h"

namespace Vimbrel::test {

HRESULT Open(const std::string& path, const Scene& scene,
             std::unique_ptr<TranscodePipeline>& pipeline);

// Pushes frames and sound until `frames` are in.
HRESULT Push(TranscodePipeline& pipeline, const Scene& scene, int frames);
// All of it: open, push, finish.
HRESULT Record(const std::string& path, const Scene& scene, int frames);

}  // namespace Vimbrel::test
