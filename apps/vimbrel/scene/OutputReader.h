// The outputs of a scene document.
#pragma once

#include <filesystem>

#include "scene/Scene.h"
#include "scene/SceneNode.h"

namespace studio {

// Files are named from the folder. Throws WrongScene.
OutputDescription ReadOutput(const SceneNode& node, const std::filesystem::path& folder);

}  // namespace studio
