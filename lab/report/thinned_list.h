// thinned_list: things of many groups in order, whole while they are few and thinned fairly when they are many.
//
// When there are too many, the groups that have the most are thinned: of each only every second one stays, then
// every fourth, and so on. A rare group is thus kept whole however often others repeat, a frequent one is kept
// evenly over the run, and how many of each are left out is known exactly.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace lab {

template <class Thing>
class thinned_list {
  public:
    struct group {
        std::uint64_t seen = 0;
        std::uint64_t kept = 0;
        std::uint64_t stride = 1;  // every stride-th is kept, the first one included
    };
    struct entry {
        Thing what;
        std::size_t group = 0;
        std::size_t bytes = 0;
        std::uint64_t ordinal = 0;  // among those of its group
    };

    // Keeps at most `max_entries` entries and `max_bytes` bytes, as far as the first one of each group allows.
    thinned_list(std::size_t max_entries, std::size_t max_bytes)
        : max_entries_(max_entries), max_bytes_(max_bytes) {}

    // Groups are numbered from 0 without gaps, in the order of their first entry.
    void add(std::size_t of_group, Thing what, std::size_t bytes) {
        if (of_group >= groups_.size()) groups_.resize(of_group + 1);
        const std::uint64_t ordinal = groups_[of_group].seen++;
        ++seen_;
        if (ordinal % groups_[of_group].stride != 0) return;
        ++groups_[of_group].kept;
        bytes_ += bytes;
        entries_.push_back({std::move(what), of_group, bytes, ordinal});
        if (entries_.size() > max_entries_ || bytes_ > max_bytes_) thin();
    }

    const std::vector<entry>& entries() const { return entries_; }
    const std::vector<group>& groups() const { return groups_; }
    std::uint64_t seen() const { return seen_; }

  private:
    // Until a tenth of the room is free, so that this does not happen at every entry.
    void thin() {
        while (entries_.size() > max_entries_ - max_entries_ / 10 || bytes_ > max_bytes_ - max_bytes_ / 10) {
            const auto most =
                std::max_element(groups_.begin(), groups_.end(),
                                 [](const group& a, const group& b) { return a.kept < b.kept; });
            if (most->kept <= 1) return;
            most->stride *= 2;
            drop_off_stride(static_cast<std::size_t>(most - groups_.begin()));
        }
    }

    void drop_off_stride(std::size_t number) {
        group& of = groups_[number];
        std::erase_if(entries_, [&](const entry& each) {
            if (each.group != number || each.ordinal % of.stride == 0) return false;
            bytes_ -= each.bytes;
            --of.kept;
            return true;
        });
    }

    std::size_t max_entries_;
    std::size_t max_bytes_;
    std::size_t bytes_ = 0;
    std::uint64_t seen_ = 0;
    std::vector<group> groups_;
    std::vector<entry> entries_;
};

}  // namespace lab
