// process_pool: many independent pieces of work, each in a process of its own, on all cores. A piece that crashes, or
// that changes what belongs to its process (time zone, the daemon's state), harms no other.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>

namespace lab {

struct job_end {
    bool is_good = false;
    std::string output;  // what the job returned
    std::string error;   // of one that threw or crashed: one line
};

// Runs job(0) to job(count - 1), up to `at_once` of them at a time (0: one for each core), and hands each end, in this
// process and as soon as it is there, to `ended`. A job inherits all there is; what it returns is all that comes back.
// Throws std::system_error when no process can be made, and what `ended` throws; jobs still running are then killed.
void run_jobs(std::size_t count, std::size_t at_once, const std::function<std::string(std::size_t)>& job,
              const std::function<void(std::size_t, job_end)>& ended);

// Ends in the order of the jobs: hands on what has come when its turn has.
class in_order {
  public:
    explicit in_order(std::function<void(std::size_t, const job_end&)> next) : next_(std::move(next)) {}
    void take(std::size_t index, job_end end);

  private:
    std::function<void(std::size_t, const job_end&)> next_;
    std::size_t due_ = 0;
    std::map<std::size_t, job_end> early_;
};

}  // namespace lab
