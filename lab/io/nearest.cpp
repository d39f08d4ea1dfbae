#include "lab/io/nearest.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace lab {

namespace {

constexpr std::size_t NEAR_ENOUGH = 3;  // edits

// Number of letters to insert, drop or change (Levenshtein).
std::size_t edits(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t above = row[j];
            const std::size_t change = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({above + 1, row[j - 1] + 1, change});
            diagonal = above;
        }
    }
    return row[b.size()];
}

}  // namespace

std::optional<std::string_view> nearest(std::string_view given, std::span<const std::string_view> known) {
    std::size_t best = NEAR_ENOUGH + 1;
    std::optional<std::string_view> found;
    for (const auto word : known) {
        const bool is_part =
            given.size() >= NEAR_ENOUGH && (word.find(given) != word.npos || given.find(word) != given.npos);
        const std::size_t distance =
            is_part ? std::min<std::size_t>(edits(given, word), 2) : edits(given, word);
        if (distance < best && distance < std::max(given.size(), word.size())) {
            best = distance;
            found = word;
        }
    }
    return found;
}

std::string meant(std::string_view given, std::span<const std::string_view> known) {
    if (const auto word = nearest(given, known)) return "; did you mean " + std::string(*word) + "?";
    std::string list = "; there is ";
    for (std::size_t i = 0; i < known.size(); ++i) {
        if (i > 0) list += i + 1 == known.size() ? " and " : ", ";
        list += known[i];
    }
    return list;
}

}  // namespace lab
