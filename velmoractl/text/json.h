#pragma once

#include <nlohmann/json_fwd.hpp>

namespace velmora::ctl {

/// Objects keep the order in which their keys were added.
using Json = nlohmann::ordered_json;

}  // namespace velmora::ctl
