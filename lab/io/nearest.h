// What was probably meant by a word that is not known.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace lab {

// The known word nearest to `given`, if it is near enough to be meant.
std::optional<std::string_view> nearest(std::string_view given, std::span<const std::string_view> known);
// "; did you mean X?", or a list of what there is.
std::string meant(std::string_view given, std::span<const std::string_view> known);

}  // namespace lab
