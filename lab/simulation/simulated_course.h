// The course of a scenario: the simulated phone on the virtual device, cycle by cycle.
//
//            cycle        cycle                                   cycle
//   awake   --|--- 10 s ---|---- ... --+           +-- the rest ----|--
//   asleep                             +-- hours --+
//
// The daemon's sleep counts only while the phone is awake, so the first cycle after a night comes within the
// ten seconds that were left of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lab/phone/level.h"
#include "lab/scenario/scenario.h"
#include "lab/scenario/truth.h"
#include "lab/session/course.h"
#include "lab/simulation/circumstances.h"
#include "lab/simulation/daemon_orders.h"
#include "lab/simulation/sensor_nodes.h"

namespace lab {

class simulated_course : public course {
  public:
    explicit simulated_course(const scenario& plan);

    // Throws input_error when the phone never starts: empty, and no charger until the end.
    std::int64_t begin_boot(virtual_device::device& device) override;
    bool next_cycle(virtual_device::device& device) override;
    bool has_more_boots() override { return !state_.is_over; }

    std::vector<std::string> truth_names() const override;
    void truth(const charge_limits& of, std::vector<double>& values) const override;

    std::string save() const override;
    void load(const std::string& state) override;

    double progress() const override;
    std::string source_name() const override { return scenario_.file; }

  private:
    using device = virtual_device::device;

    // What crosses boots.
    struct course_state {
        phone::phone_state phone;
        doings user{};
        std::int64_t now_s = 0;
        std::int64_t boot = 0;
        std::int64_t boot_start_s = 0;
        std::int64_t change_s = 0;       // when the conditions last changed
        std::int64_t awake_until_s = 0;  // whatever the screen
        bool is_over = false;
        bool runs_boot_loader = true;  // at the next start
    };

    void take_circumstances(device& on);
    // At a change: the new circumstances, and what happens at this very moment.
    ending cross_change(device& on);

    bool is_asleep() const;
    std::int64_t step_s(std::int64_t longest_s) const;
    ending advance_awake(device& on);
    void advance_on(device& on, std::int64_t for_s);
    void advance_off(device& on, std::int64_t for_s, bool until_bootable);
    void leave(device& on, ending why);
    void start_again(device& on, ending why);
    bool has_power_for_boot() const;

    void write_boot_files(device& on) const;
    void show(device& on);

    const scenario& scenario_;
    phone::model model_;
    course_state state_;

    // Of this process.
    circumstances world_;
    sensor_nodes nodes_;
    daemon_orders orders_;
    bool is_first_cycle_ = false;
    mutable phone::level_gauge level_;
};

}  // namespace lab
