#include "lab/report/sample_rows.h"

#include <algorithm>
#include <utility>

namespace lab {

namespace {

sample_row row_of(const thinned_series& series, std::size_t bucket) {
    sample_row row{series.bucket(bucket).first_t, series.bucket(bucket).last_t, {}, 0, {}, {}};
    row.cycles = series.bucket(bucket).cycles;
    for (std::size_t i = 0; i < series.channels(); ++i) row.values.push_back(series.value(i, bucket));
    for (std::size_t i = 0; i < series.states(); ++i)
        row.in_state.push_back(series.cycles_in_state(i, bucket));
    return row;
}

sample_row row_of(const close_ups::taken& cycle, std::size_t states) {
    sample_row row{cycle.t, cycle.t, {}, 1, {}, {}};
    for (const std::int32_t value : cycle.values) row.values.push_back(thinned_series::range::of(value));
    for (std::size_t i = 0; i < states; ++i) row.in_state.push_back((cycle.states >> i) & 1U);
    return row;
}

// Without what a close-up's cycle brought; its extremes cannot be told apart and stay.
void take_out(sample_row& from, const sample_row& cycle) {
    from.cycles -= cycle.cycles;  // not 0: it would have been passed over
    for (std::size_t i = 0; i < from.values.size(); ++i) {
        auto& value = from.values[i];
        if (value.count <= cycle.values[i].count) {
            value = {};
            continue;
        }
        value.sum -= cycle.values[i].sum;
        value.count -= cycle.values[i].count;
    }
    for (std::size_t i = 0; i < from.in_state.size(); ++i)
        from.in_state[i] -= std::min(from.in_state[i], cycle.in_state[i]);
}

class row_maker {
  public:
    row_maker(const thinned_series& series, const std::vector<gap_list::gap>& gaps, const close_ups& apart)
        : series_(series), gaps_(gaps) {
        // Where each bucket is one cycle there is nothing closer.
        if (series.cycles_per_bucket() == 1) return;
        for (const auto& each : apart.all()) {
            for (const auto& cycle : each.what) close_.push_back(&cycle);
        }
    }

    std::vector<sample_row> made() {
        for (std::size_t i = 0; i < series_.size(); ++i) add_bucket(row_of(series_, i));
        mark_gaps();
        return std::move(rows_);
    }

  private:
    // The bucket's own rows, around the close-up's cycles that lie in it.
    void add_bucket(sample_row bucket) {
        std::vector<sample_row> within;
        for (; next_close_ < close_.size() && close_[next_close_]->t <= bucket.last_t; ++next_close_) {
            // A cycle at the very moment at which the bucket before ended is that one's.
            if (close_[next_close_]->t < bucket.first_t || bucket.cycles == 0) continue;
            within.push_back(row_of(*close_[next_close_], series_.states()));
            take_out(bucket, within.back());
        }
        std::int64_t from_t = bucket.first_t;
        for (sample_row& each : within) {
            if (each.first_t > from_t) add_around_gaps(bucket, from_t, each.first_t - 1);
            from_t = each.first_t + 1;
            rows_.push_back(std::move(each));
        }
        if (from_t <= bucket.last_t || within.empty()) add_around_gaps(bucket, from_t, bucket.last_t);
    }

    // The part of a bucket from one moment to another, in as many rows as gaps leave of it.
    void add_around_gaps(const sample_row& bucket, std::int64_t from_t, std::int64_t to_t) {
        if (bucket.cycles == 0) return;
        while (next_gap_ < gaps_.size() && gaps_[next_gap_].to_t <= from_t) ++next_gap_;
        for (std::size_t i = next_gap_; i < gaps_.size() && gaps_[i].from_t < to_t; ++i) {
            if (gaps_[i].from_t >= from_t) add(bucket, from_t, gaps_[i].from_t);
            from_t = gaps_[i].to_t;
        }
        if (from_t <= to_t) add(bucket, from_t, to_t);
    }

    void add(const sample_row& bucket, std::int64_t from_t, std::int64_t to_t) {
        rows_.push_back(bucket);
        rows_.back().first_t = from_t;
        rows_.back().last_t = to_t;
    }

    void mark_gaps() {
        auto gap = gaps_.begin();
        for (std::size_t i = 1; i < rows_.size(); ++i) {
            while (gap != gaps_.end() && gap->to_t < rows_[i].first_t) ++gap;
            for (auto at = gap; at != gaps_.end() && at->to_t == rows_[i].first_t; ++at) {
                if (at->from_t < rows_[i - 1].last_t) continue;
                rows_[i].comes_after = at->is_off ? sample_row::before::off : sample_row::before::gap;
            }
        }
    }

    const thinned_series& series_;
    const std::vector<gap_list::gap>& gaps_;
    std::vector<const close_ups::taken*> close_;
    std::size_t next_close_ = 0, next_gap_ = 0;
    std::vector<sample_row> rows_;
};

}  // namespace

std::vector<sample_row> sample_rows(const thinned_series& series, const std::vector<gap_list::gap>& gaps,
                                    const close_ups& apart) {
    return row_maker(series, gaps, apart).made();
}

}  // namespace lab
