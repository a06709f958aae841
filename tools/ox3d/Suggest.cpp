// Names that are near to a word.
#include "tools/ox3d/Suggest.h"

#include <algorithm>
#include <cctype>

namespace ox3d::tool {
namespace {

constexpr size_t kMaxLetters = 64; // of a name that is compared

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

// Single steps from one text to the other, of which swapping two neighbours is one.
size_t Distance(const std::string& a, const std::string& b) {
    std::vector<size_t> before;
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        std::vector<size_t> next(b.size() + 1, i);
        for (size_t j = 1; j <= b.size(); ++j) {
            next[j] = std::min({row[j] + 1, next[j - 1] + 1, row[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                next[j] = std::min(next[j], before[j - 2] + 1);
            }
        }
        before = std::move(row);
        row = std::move(next);
    }
    return row.back();
}

} // namespace

std::string Nearest(std::string_view word, const std::vector<std::string>& names) {
    const std::string wanted = Lower(word.substr(0, kMaxLetters));
    std::string nearest;
    size_t least = std::max<size_t>(wanted.size() / 3, 1) + 1; // more steps make another word
    for (const std::string& name : names) {
        const size_t distance = Distance(wanted, Lower(std::string_view(name).substr(0, kMaxLetters)));
        if (distance < least && distance < wanted.size()) {
            least = distance;
            nearest = name;
        }
    }
    return nearest;
}

std::string DidYouMean(std::string_view word, const std::vector<std::string>& names) {
    const std::string nearest = Nearest(word, names);
    return nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?";
}

} // namespace ox3d::tool
