#include "lab/story/log_table.h"

#include <algorithm>

namespace lab {

namespace {

constexpr log_line TABLE[] = {
    {"vendor.curves_damaged", "Error: Invalid battery params for vendor \"%s\"!",
     "the curves that are built in for this vendor make no sense", "report it: the build is broken"},
    {"vendor.no_curves", "FATAL ERROR: No valid battery params found!",
     "no curves at all can be used: the estimator stays off", "report it: the build is broken"},
    {"vendor.unknown", "Error: No battery params found for vendor \"%s\"",
     "the cell is of a vendor that the daemon has no curves of",
     "add the cell (docs/extending.md), or look at cell_vendor_name"},
    {"vendor.curves_refused", "Error: Battery params for vendor \"%s\" are invalid!",
     "the curves of this vendor make no sense", "report it: the build is broken"},
    {"vendor.loaded", "Loading battery params for vendor \"%s\"",
     "the estimator uses the curves of the cell that is fitted", ""},
    {"vendor.substituted", "Substituting battery params with vendor \"%s\"",
     "the estimator uses the curves of another cell; all else goes on",
     "add the cell, or look at cell_vendor_name"},
    {"toc.invalid", "CHG_MGR New ToC setting is invalid",
     "the steps asked for come to no voltage; nothing is published", "report it: steps are checked before"},
    {"toc.published", "CHG_MGR New ToC setting: v=%d",
     "the top-of-charge voltage is published, mV; the charger follows it", ""},
    {"toc.not_saved", "CHG_MGR error: failed to export persistent clients: status=%d",
     "the permanent step could not be written; after a restart it may be forgotten",
     "look at the partition of /mnt/vendor/nvcfg: full, read-only, label"},
    {"toc.saved", "CHG_MGR: exported persistent toc clients", "the permanent step is on flash", ""},
    {"toc.from_zero", "CHG_MGR Init Perm Clients failed to initialize, resetting",
     "the permanent step could not be read and begins at 0; on a first start that is so",
     "on a later start: vorn-lab state show"},
    {"toc.no_such_client", "CHG_MGR error: %s toc client ID out of bounds: id=%d",
     "a feature asked under a number that nobody has", "report it"},
    {"toc.client_invalid", "CHG_MGR ToC is invalid cannot set client prop: step=%d,",
     "a feature's own step comes to no voltage; its property is not set",
     "vorn-lab state show: toc_clients may be damaged"},
    {"toc.client_not_told", "CHG_MGR Register %s client: Failed to initialize property step=%d, %s_id=%d",
     "the property of a feature's own voltage could not be set at the start",
     "look for property.not_set beside it"},
    {"toc.step_refused", "CHG_MGR error: toc derating step out of bounds: id=%d",
     "a step beyond 9 was asked for and is refused", "report it"},
    {"toc.asked", "CHG_MGR New ToC request: step=%d, %s_id=%d",
     "a feature asks for a step of 50 mV below 4450 mV; the lowest voltage asked for holds", ""},
    {"toc.at_start", "CHG_MGR Initial ToC/BoC settings: toc_mv=%d, boc_mv=%d",
     "the voltage in force at this start, from the permanent step", ""},
    {"charging.told", "charge disable sysprop set with status %d",
     "whether charging is stopped was published; the status is 0 when that succeeded",
     "another status: look for property.not_set beside it"},
    {"start.stress_failed", "stress init error %d",
     "the battery stress began without its file or its property; it counts on",
     "look for the lines before it"},
    {"start.estimator_failed", "Dyn SoC init error %d", "the estimator began without its file or its curves",
     "look for the lines before it"},
    {"start.began", "attempting to migrate persistent files",
     "the daemon starts: files of the former directory are taken over", ""},
    {"start.precharge_failed", "precharge init error %d",
     "the totals of precharges could not be brought up to date", "look for the lines before it"},
    {"start.done", "vorn running on platform %s", "the daemon is up; the first cycle follows", ""},
    {"cycle.no_battery", "error getting sensor data, do not push",
     "voltage or temperature is missing: stress, short detection and estimator leave out this cycle",
     "look for node.not_read beside it"},
    {"cycle.no_level", "error getting sensor data, do not update charge timer",
     "the level is missing: timer, top-off and pulldown leave out this cycle",
     "look for node.not_read beside it"},
    {"number.out_of_range", "strtol error errno %d", "a node or file holds a number beyond 64 bits",
     "look at what the driver gives"},
    {"file.not_taken_over", "failed to read file, while migrating %s",
     "nothing to take over from the former directory: so it is on every start of a device that was always on "
     "this layout",
     ""},
    {"file.not_opened", "file open error errno file %s",
     "a state file is not there, as on a first start, or may not be opened",
     "on a later start: look at the partition, the mode and the label"},
    {"file.not_read", "file read error errno file %s", "a state file opens but fails to be read",
     "look at the partition: the flash may be failing"},
    {"file.not_written", "file write error errno file %s", "a state file could not be written whole",
     "look at the partition: full, read-only, failing"},
    {"reboot.done", "Performing reboot!",
     "the device is asked to reboot, so that the charger takes the new permanent voltage", ""},
    {"reboot.no_local_time", "Failed local time to schedule reboot, rebooting now! errno=%d",
     "the hour of the night could not be told, so the reboot is at once",
     "look at the device's time zone data"},
    {"reboot.scheduled", "Scheduled reboot at %lu sec, now=%lu",
     "a reboot is due at 02:00 local time, in seconds since the start", ""},
    {"vendor.not_read", "error: cannot read cell vendor name", "the vendor's node is missing",
     "look at the path of cell_vendor_name and its label"},
    {"node.not_read", "file read error %s", "a node of the battery or charger is missing or fails to be read",
     "look at its path, mode and label; docs/integration.md lists them"},
    {"property.not_set", "error setting property str \"%s\" to \"%s\", result=%d",
     "the system refused a property: the charger does not hear of it",
     "look at property_contexts and the rights of vorn"},
    {"property.not_read", "error getting property bool %s, result=%d",
     "the mark of a failed precharge could not be read and counts as not set", "look at property_contexts"},
    {"property.mark_not_set", "error setting property bool %s, result=%d",
     "the mark of a failed precharge could not be set", "look at property_contexts"},
    {"clock.not_set", "time now %ld fails sanity check",
     "the wall clock is before 2021: time off cannot be told, nor the night",
     "set the clock before the daemon starts; it asks again every hour"},
    {"clock.nothing_saved", "No saved datetime", "the time was never saved: a first start counts no time off",
     ""},
    {"clock.behind", "difftime %.2f fails sanity check, increment saved by %ld sec",
     "the wall clock is behind the time last saved: no time off is counted", "look who sets the clock back"},
    {"estimator.resistance_zero", "DYN_SOC error: prevented divide by 0 in DCR adapt!",
     "too little current so far to tell a resistance; the old one stays", ""},
    {"estimator.resistance_full", "DYN_SOC error: prevented overflow in DCR adapt!",
     "the sum behind the resistance is at its end; the old one stays",
     "vorn-lab state show: dyn_soc_params may be damaged"},
    {"estimator.capacity_zero", "DYN_SOC error: qmax adapt div by 0",
     "too little change so far to tell a capacity; the old one stays", ""},
    {"estimator.vendor_too_long", "DYN_SOC error: unexpected cell vendor string len=%d",
     "the vendor's name is empty or too long for a record, which says UNKNOWN", "look at cell_vendor_name"},
    {"estimator.no_curves", "DYN_SOC error: invalid battery info!",
     "there are no curves to go by: the estimator stays off", "look for the lines of the vendor before it"},
    {"estimator.bad_voltage", "DYN_SOC error: bad voltage input %d",
     "the voltage is not between the limits: the estimator leaves out this cycle", "vorn-lab check"},
    {"estimator.bad_current", "DYN_SOC error: bad current input %d",
     "the current is not between the limits: the estimator leaves out this cycle", "vorn-lab check"},
    {"estimator.bad_temperature", "DYN_SOC error: bad temperature input %d",
     "neither the battery's temperature nor the thermal zone's can be used", "vorn-lab check"},
    {"estimator.virtual_temperature", "DYN_SOC warning: falling back to virtual temp",
     "the thermal zone stands in for the battery's temperature",
     "vorn-lab check; look at the battery's thermistor"},
    {"estimator.bad_status", "DYN_SOC error: bad charge status input %d",
     "the status is unknown: the estimator leaves out this cycle", "vorn-lab check"},
    {"estimator.bad_landing", "DYN_SOC error: unexpected landing algo state: %d",
     "the landing at 100 % was in no state and begins anew", "report it"},
    {"estimator.file_not_read", "DYN_SOC error: failed to read params from file",
     "nothing learnt of the cell could be read: it starts from the defaults, as on a first start",
     "on a later start: vorn-lab state show"},
    {"estimator.file_of_other_version", "DYN_SOC: file version mismatch: got %d expected %d; discarding data",
     "what was learnt was saved by another layout and is dropped", "expected once, after an update"},
    {"estimator.file_read", "PQX DYN_SOC: read values from file version %d: %d %d %d %d",
     "what was learnt of the cell: resistance and capacity, each as two numbers", ""},
    {"estimator.file_not_written", "DYN_SOC error: failed to write params to file",
     "what was learnt could not be saved; it tries again with the next change",
     "look at the partition of /mnt/vendor/nvcfg"},
    {"estimator.file_written", "DYN_SOC: successful write to file, version=%d",
     "what was learnt of the cell is on flash", ""},
    {"estimator.bad_smoothing", "DYN_SOC error: unexpected chg_sts in smoother init! chg_sts=%d",
     "the shown level could not tell which way to go and follows the estimate", "report it"},
    {"estimator.skipped", "DYN_SOC error: invalid inputs",
     "the estimator left out this cycle, for the reason in the line before", "vorn-lab check"},
    {"estimator.no_level_shown", "DYN_SOC error: failed to update display SoC",
     "the level for the display could not be told; the old one stays", "report it"},
    {"timer.counted_failure", "setting charge fail counter to %d",
     "a charge ran past its deadline; how many did so in the device's life",
     "many: look at the charger, the cable and the load while charging"},
    {"short.left", "SHORT_DETECT Exit active state, v_accum_min=%d, v_dip_th=%u",
     "the watch for a soft short is over, with its deepest dip", ""},
    {"short.cleared", "SHORT_DETECT Clearing fault flag, v=%d, v_max=%u, curr=%d",
     "the suspicion of a soft short is dropped", ""},
    {"short.suspected",
     "SHORT_DETECT Fault detected, v=%d, v_max=%d, v_dip_thresh=%u, sec_since_max=%lu, curr=%d",
     "the voltage fell while charging at a steady current", "more than once: look at the battery"},
    {"short.thresholds", "SHORT_DETECT Init params: v_dip_thresh=%u, curr_dip_thresh=%u, volt_cutoff=%u",
     "what the watch for a soft short goes by", ""},
    {"short.bad_inputs", "SHORT_DETECT Invalid inputs, volt=%d, curr=%d",
     "status, voltage or current cannot be used: the watch ends", "vorn-lab check"},
    {"topoff.left", "TOPOFF Clearing chg dis flag, volt=%d, dur=%lu",
     "full no longer: the voltage dropped, after so many seconds", ""},
    {"topoff.full", "TOPOFF Battery full; setting chg dis flag",
     "full at 100 %; holds until the voltage drops by 200 mV", ""},
    {"precharge.no_voltage", "precharge offline nonexistent or invalid V %d",
     "the voltage last saved, or the time off, is not known: the record says so",
     "expected on a first start"},
    {"precharge.no_time", "precharge error calculating offline time",
     "the time off is not known: the record has the voltage last saved", "look at the wall clock"},
    {"precharge.bad_rate", "precharge UVP mode discharge rate is nonexistent or invalid %f",
     "the rate of discharge while off makes no sense", "report it"},
    {"precharge.estimated", "precharge offline logged hours %.2f for VT %d",
     "the voltage to which the battery fell while off was estimated", ""},
    {"precharge.not_counted", "precharge trackers did not update successfully",
     "the totals of precharges could not be saved", "look for file.not_written beside it"},
    {"precharge.happened", "precharge event with uboot timer %d and flag %d",
     "the boot loader precharged for so many seconds; the flag says whether it failed",
     "flag 1: look at the battery; charging stays stopped"},
    {"precharge.at_start", "setting precharge timer and counter",
     "the totals of precharges are looked at, as on every start", ""},
    {"precharge.timer_reset", "precharge timer returned %d resetting to 0",
     "the total time cannot be true and begins anew", "vorn-lab state show"},
    {"precharge.counter_reset", "precharge counter returned %d resetting to 0",
     "the number of precharges cannot be true and begins anew", "vorn-lab state show"},
    {"precharge.counted", "setting precharge timer %d and counter %d", "the new totals of precharges", ""},
    {"precharge.timer_not_written", "error while writing precharge timer, %d",
     "the total time could not be saved", "look at the partition of /mnt/vendor/nvcfg"},
    {"precharge.counter_not_written", "error while writing precharge counter, %d",
     "the number of precharges could not be saved", "look at the partition of /mnt/vendor/nvcfg"},
    {"stress.no_offline", "stress offline nonexistent or invalid VT %d %d",
     "the time off, or voltage and temperature at the start, is not known: it is not counted",
     "expected on a first start"},
    {"stress.offline_counted", "stress offline logged hours %.2f for VT %d %d",
     "the hours off were counted at voltage (mV) and temperature (0.001 °C) of the start", ""},
    {"stress.offline_later", "stress error calculating offline time, retry on flush",
     "the hours off cannot be told yet; it tries again every hour", "set the clock before the daemon starts"},
    {"stress.offline_counted_late", "stress offline retry logged hours %.2f for VT %d %d",
     "the hours off were told at last, and counted", ""},
    {"stress.written", "stress local table flush %d",
     "the histogram was written, as every hour; 0 when that succeeded",
     "another number: look for file.not_written beside it"},
    {"stress.evaluated", "stress calc hours %d %d",
     "the stress hours, and 0 when the voltage that they ask for could be asked for, as every 48 hours", ""},
    {"stress.mocked", "stress feature mock offset set to %u", "a test file adds so many stress hours",
     "remove mock_batt_stress_offset, unless this is a test"},
    {"stress.gap", "stress interp elaps %lu periods %.2f slopes %d %d",
     "no cycle for so many seconds, as in a suspend: the hours in between are spread along a line", ""},
    {"stress.bucket_dropped", "stress sanity check failed for VT[%d][%d] with val %.2f",
     "a bucket of the histogram cannot be true and counts as 0", "vorn-lab state show"},
    {"stress.compared", "stress trip is %d and was %d",
     "the step that the stress hours ask for, and the one in force; it is never lowered", ""},
    {"stress.asked", "setting stress trip to %d", "the stress hours ask for this step", ""},
};

// A conversion such as "%.2f" stands for anything up to what follows it in the format.
bool fits(std::string_view format, std::string_view text) {
    for (std::size_t percent = format.find('%'); percent != format.npos; percent = format.find('%')) {
        if (!text.starts_with(format.substr(0, percent))) return false;
        text.remove_prefix(percent);
        format.remove_prefix(std::min(format.find_first_of("dufs", percent) + 1, format.size()));
        const std::size_t next = format.empty() ? text.size() : text.find(format.substr(0, format.find('%')));
        if (next == text.npos) return false;
        text.remove_prefix(next);
    }
    return text == format;
}

// Without the dashes and the line end behind every line.
std::string_view trimmed(std::string_view text) {
    while (!text.empty() && std::string_view(" -\n").find(text.back()) != text.npos) text.remove_suffix(1);
    return text;
}

// Without the dashes and the tag before it, too.
std::string_view bare(std::string_view text) {
    for (const std::string_view start : {"--- ", "vorn "}) {
        if (text.starts_with(start)) text.remove_prefix(start.size());
    }
    return trimmed(text);
}

}  // namespace

const log_line* find_log_line(std::string_view id) {
    const auto* const found = std::ranges::find(TABLE, id, &log_line::id);
    return found == std::end(TABLE) ? nullptr : found;
}

const log_line* log_line_of(std::string_view text) {
    const log_line* best = nullptr;
    for (const log_line& each : TABLE) {
        const bool is_closer = best == nullptr || each.format.size() > best->format.size();
        if (is_closer && (fits(each.format, bare(text)) || fits(each.format, trimmed(text)))) best = &each;
    }
    return best;
}

std::vector<std::string_view> log_line_ids() {
    std::vector<std::string_view> ids;
    for (const log_line& each : TABLE) ids.push_back(each.id);
    return ids;
}

std::string log_lines_reference() {
    std::string text = "| id | line | what it means | what to do |\n|---|---|---|---|\n";
    for (const log_line& each : TABLE) {
        text += "| <a id=\"" + std::string(each.id) + "\"></a>`" + std::string(each.id) + "` | `" +
                std::string(each.format) + "` | " + std::string(each.meaning) + " | " +
                std::string(each.remedy.empty() ? "nothing" : each.remedy) + " |\n";
    }
    return text;
}

std::string explain_log_line(const log_line& line) {
    return std::string(line.id) + ": \"" + std::string(line.format) + "\"\nIt means that " +
           std::string(line.meaning) +
           ".\nWhat to do: " + std::string(line.remedy.empty() ? "nothing" : line.remedy) + ".\n";
}

}  // namespace lab
