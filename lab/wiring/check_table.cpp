#include "lab/wiring/check_table.h"

#include <algorithm>

namespace lab {

namespace {

constexpr check_entry TABLE[] = {
    {"node.present", "Could every node be read in every sample?", "leaves out what needs the node",
     "look at the path, its label (genfs_contexts) and its mode; docs/integration.md lists them"},
    {"unit.voltage", "Is the voltage in µV?",
     "takes it a thousand times too small: every hour is of the lowest band, and nothing ever trips",
     "let the driver give µV, as the kernel's power supply class has it"},
    {"unit.current", "Is the current in µA?",
     "takes it a thousand times too small: the charge timer gets no deadline, and the estimator stands still",
     "let the driver give µA"},
    {"unit.temp", "Is the temperature in 0.1 °C?",
     "counts every hour as of a cold battery, or of a hot one, and misses a fast warming",
     "let the driver give tenths of a degree"},
    {"sign.current", "Is the current positive while charging?",
     "believes that a charging battery is being emptied: the charge timer gets no deadline, and the estimate "
     "runs away",
     "turn the sign round in the driver; --assume sign=- shows what the other checks say then"},
    {"scale.current", "Does the current add up to the change of level?",
     "counts the wrong charge: the estimator's capacity and the timer's deadline are off by the same factor",
     "look for a shunt of another value, one of two cells, or a scale in the driver"},
    {"range.capacity", "Is the level in whole percent, 0 to 100?",
     "never sees 100 %, so the top-off never holds", "let the driver give percent"},
    {"status.words", "Is the status one of the five words?",
     "takes any other word for Unknown: no charge is timed",
     "use the kernel's words: Charging, Discharging, Not charging, Full, Unknown"},
    {"status.delay", "Does the status change when the current does?",
     "times charges and thermal stops from the wrong moment",
     "let the driver tell of a change at once (power_supply_changed)"},
    {"moves.voltage", "Does the voltage move?", "counts all hours in one band",
     "look whether the driver reads the gauge each time"},
    {"moves.current", "Does the current move?", "computes one deadline for all charges",
     "look whether the driver reads the gauge each time"},
    {"moves.temp", "Does the temperature move?", "counts all hours in one band, and misses a fast warming",
     "look for a fixed value in place of a thermistor"},
    {"moves.capacity", "Does the level move?", "knows no end of a charge",
     "look whether the gauge has its battery profile"},
    {"moves.status", "Does the status move?", "sees no charge begin or end",
     "look whether the charger tells the driver"},
    {"vendor.known", "Is the cell's vendor one that the daemon has curves of?",
     "uses the curves of another cell: the estimate is off, all else goes on",
     "add the cell, or name the one that is fitted"},
    {"spacing", "Are there samples every 10 seconds?",
     "is not concerned; a replay sees less than the daemon saw", "capture.sh -i 10"},
    {"clock.steps", "Does the wall clock go with the boot clock?",
     "takes a clock before 2021 for not set, and one behind the saved time for wrong: the time off is then "
     "not credited, or too much of it is",
     "set the clock before the daemon starts"},
    {"files.whole", "Are the state files whole?",
     "starts from zero, or from a part; docs/state-files.md says what for each",
     "vorn-lab state show tells which field"},
    {"files.plausible", "Are the values in the state files plausible?", "drops them or takes its default",
     "vorn-lab state show tells which field"},
};

struct node_effect {
    std::string_view node, effect;
};
constexpr node_effect WITHOUT_NODE[] = {
    {"voltage_now", "counts no stress hours, looks for no short and estimates nothing in those cycles"},
    {"temp",
     "counts no stress hours and looks for no short in those cycles; the thermal zone may do for the "
     "estimate"},
    {"current_now", "estimates nothing and looks for no short in those cycles"},
    {"capacity", "times no charge and looks for no end of one in those cycles"},
    {"status", "takes it for Unknown: no charge is timed"},
    {"cell_vendor_name", "uses the curves of another cell"},
    {"thermal_zone6_temp", "has nothing to stand in for the battery's temperature"},
    {"gm30_ui_soc", "only notes in its records that the level shown is not known"},
    {"charge_counter", "only logs that it cannot read it"},
    {"cycle_count", "only logs that it cannot read it"},
    {"vbus", "only logs that it cannot read it"},
};

}  // namespace

std::string_view effect_without_node(std::string_view name) {
    const auto* const found = std::ranges::find(WITHOUT_NODE, name, &node_effect::node);
    return found == std::end(WITHOUT_NODE) ? "leaves out what needs the node" : found->effect;
}

std::span<const check_entry> check_table() {
    return TABLE;
}

const check_entry* find_check(std::string_view id) {
    const auto* const found = std::ranges::find(TABLE, id, &check_entry::id);
    return found == std::end(TABLE) ? nullptr : found;
}

std::string checks_reference() {
    std::string text = "| id | question | where it is wrong, the daemon | what to do |\n|---|---|---|---|\n";
    for (const check_entry& each : TABLE) {
        text += "| `" + std::string(each.id) + "` | " + std::string(each.question) + " | " +
                std::string(each.effect) + " | " + std::string(each.remedy) + " |\n";
    }
    return text;
}

std::string explain_check(const check_entry& entry) {
    return std::string(entry.id) + ": " + std::string(entry.question) + "\nWhere it is wrong, the daemon " +
           std::string(entry.effect) + ".\nWhat to do: " + std::string(entry.remedy) + ".\n";
}

}  // namespace lab
