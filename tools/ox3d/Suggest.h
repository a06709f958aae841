// What somebody may have meant who mistyped a name.
#ifndef OX3D_TOOL_SUGGEST_H
#define OX3D_TOOL_SUGGEST_H

#include <string>
#include <string_view>
#include <vector>

namespace ox3d::tool {

// The nearest of the names, by letters left out, added, changed or swapped and whatever their case; empty when none is
// near.
std::string Nearest(std::string_view word, const std::vector<std::string>& names);

// "; did you mean \"NAME\"?", or empty.
std::string DidYouMean(std::string_view word, const std::vector<std::string>& names);

} // namespace ox3d::tool

#endif
