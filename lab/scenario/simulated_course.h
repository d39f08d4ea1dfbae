// The course of a scenario: the simulated phone on the virtual device, cycle by cycle.
//
//            cycle        cycle                                   cycle
//   awake   --|--- 10 s ---|---- ... --+           +-- the rest ----|--
//   asleep                             +-- hours --+
//
// The daemon's sleep counts only while the phone is awake, so the first cycle after a night comes within the
// ten seconds that were left of it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "lab/scenario/scenario.h"
#include "lab/scenario/timeline.h"
#include "lab/scenario/truth.h"
#include "lab/session.h"
#include "lab/trace.h"

namespace lab {

class simulated_course : public course {
  public:
    explicit simulated_course(const scenario& of);

    // Throws input_error when the phone never starts: empty, and no charger until the end.
    std::int64_t begin_boot(virtual_device::device& device) override;
    bool next_cycle(virtual_device::device& device) override;
    bool has_more_boots() override { return !state_.is_over; }

    std::vector<std::string> truth_names() const override;
    void truth(std::vector<double>& values) const override;

    std::string save() const override;
    void load(const std::string& state) override;

    double progress() const override;
    std::string source_name() const override { return scenario_.file; }

  private:
    using device = virtual_device::device;

    // Why the daemon's process ends.
    enum class ending : std::uint8_t { none, over, empty, power_cut, reboot, restart };

    // What crosses boots.
    struct course_state {
        phone::phone_state phone;
        std::int64_t now_s = 0;
        std::int64_t boot = 0;
        std::int64_t boot_start_s = 0;
        std::int64_t change_s = 0;       // when the conditions last changed
        std::int64_t awake_until_s = 0;  // whatever the screen
        bool is_over = false;
        bool runs_boot_loader = true;  // at the next start
    };

    // Follows from the time alone.
    void take_conditions(device& on);
    void set_faults(device& on);
    // What happens at this very moment.
    ending cross(device& on);
    ending cross_event(device& on, const scenario_event& event);
    void set_mock(device& on, const scenario_event& event, bool is_end);

    bool is_asleep() const;
    std::int64_t step_s(std::int64_t longest_s) const;
    ending advance_awake(device& on);
    void advance_on(device& on, std::int64_t for_s);
    void advance_off(device& on, std::int64_t for_s, bool until_bootable);
    void leave(device& on, ending why);
    bool has_power_for_boot() const;

    void find_files(device& on);
    void write_boot_files(device& on) const;
    void read_orders(const device& on);
    bool wants_reboot() const;
    void show(device& on);
    void put_node(std::size_t index, std::int64_t value);
    void set_clock(device& on) const;

    const scenario& scenario_;
    timeline timeline_;
    phone::model model_;
    course_state state_;

    // Of this process.
    conditions now_;
    phone::surroundings around_;
    phone::orders orders_;
    std::int64_t next_change_s_ = 0;
    std::int64_t clock_shift_s_ = 0;
    bool is_clock_lost_ = false;
    bool is_first_cycle_ = false;
    std::array<virtual_device::file*, TRACE_NODES.size()> nodes_{};
    std::array<const scenario_event*, TRACE_NODES.size()> overrides_{};
    std::size_t properties_seen_ = 0;
    const std::string* toc_ = nullptr;
    const std::string* disable_ = nullptr;
    const std::string* power_ = nullptr;
    std::string toc_text_;
};

}  // namespace lab
