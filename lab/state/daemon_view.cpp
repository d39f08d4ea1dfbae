#include "lab/state/daemon_view.h"

#include <cstring>
#include <string>

#include "charge_mgr/charge_mgr.h"
#include "core/persistent_files.h"
#include "core/sensor_inputs.h"
#include "dyn_soc/internal.h"
#include "platform/virtual/device.h"
#include "stress/stress_table.h"
#include "stress/stress_trip.h"
#include "util/sensor_value.h"

namespace lab {

namespace {

using virtual_device::the_device;

constexpr char MOCK_OFFSET_PATH[] = "/data/vendor/vorn/mock_batt_stress_offset";

void put_on_device(const stored_file& stored) {
    auto& device = the_device();
    const std::string_view directory =
        stored.is_former ? virtual_device::DATA_DIR : virtual_device::NVCFG_DIR;
    const std::string moved = std::string(directory).append(stored.kind->name);
    virtual_device::file& file = device.at(stored.is_former ? moved : stored.kind->path);
    if (stored.condition == file_condition::missing) return;
    file.put(stored.bytes);
    if (stored.condition == file_condition::not_opened)
        device.set_fault(file, &virtual_device::file::open_fails);
    if (stored.condition == file_condition::not_read)
        device.set_fault(file, &virtual_device::file::read_fails);
}

void clear_device() {
    auto& device = the_device();
    device.clear_faults();
    for (const state_file& kind : state_files) {
        device.at(kind.path).remove();
        device.at(std::string(virtual_device::DATA_DIR).append(kind.name)).remove();
    }
    device.at(MOCK_OFFSET_PATH).remove();
}

std::int32_t write_nowhere(const void*, std::int32_t) {
    return 0;
}

void look_at_stress_table(daemon_view& view) {
    static daemon_view* receiver;
    receiver = &view;
    view.mock_offset_h = read_mock_stress_offset();
    stress_table__init(view.mock_offset_h);
    (void)stress_table__import(vorn_stress_import);  // not opened: the table stays empty
    view.stress_hours = calculate_stress_hours();
    view.trip_step = stress_trip_step(view.stress_hours);
    (void)stress_table__export([](const void* table, std::int32_t size) {
        static_assert(sizeof receiver->hours == STRESS_TABLE_SIZE);
        std::memcpy(receiver->hours.data(), table, static_cast<std::size_t>(size));
        return 0;
    });
}

void look_at_parameters(daemon_view& view) {
    dyn_soc::s.params_import = vorn_dyn_soc_params_import;
    dyn_soc::s.written_dcr = 0;
    dyn_soc::s.written_qmax = 0;
    dyn_soc::load_params();
    view.resistance = dyn_soc::s.prev.dcr.value;
    view.takes_resistance = dyn_soc::s.written_dcr != 0;
    view.capacity_c = dyn_soc::s.prev.qmax.value;
    view.takes_capacity = dyn_soc::s.written_qmax != 0;
    const dyn_soc::dyn_soc_record& taken = dyn_soc::s.prev;
    view.filters = {taken.dcr_num.whole, taken.dcr_den.whole, taken.qmax_num.whole, taken.qmax_den.whole};
}

std::int32_t no_voltage() {
    return 0;
}

std::int32_t set_no_voltage(std::int32_t) {
    return 0;
}

}  // namespace

daemon_view ask_daemon(const stored_state& state) {
    clear_device();
    for (const stored_file& file : state.files) put_on_device(file);
    if (state.mock_offset) the_device().at(MOCK_OFFSET_PATH).put(*state.mock_offset);

    daemon_view view;
    migrate_persistent_files();
    charge_mgr__init(vorn_toc_clients_import, write_nowhere, no_voltage, set_no_voltage);
    view.toc_step = charge_mgr__get_perm_toc_step(STRESS_TRIP_CLIENT);
    look_at_stress_table(view);
    look_at_parameters(view);
    for (const state_file& kind : state_files) {
        if (kind.size == sizeof(std::int32_t))
            view.numbers[kind.name] = import_value({std::string(kind.path).c_str(), sizeof(std::int32_t)});
    }
    view.boot_flag = vorn_uboot_flag_import();
    clear_device();
    return view;
}

std::int32_t voltage_of_step(std::int32_t step) {
    static std::int32_t stored_step;
    static std::int32_t voltage_mv;
    stored_step = step;
    charge_mgr__init(
        [](void* buffer, std::int32_t size) {
            std::memcpy(buffer, &stored_step, static_cast<std::size_t>(size));
            return 0;
        },
        write_nowhere, no_voltage, set_no_voltage);
    (void)charge_mgr__register_perm_client_prop(STRESS_TRIP_CLIENT, [](std::int32_t client_mv) {
        voltage_mv = client_mv;
        return 0;
    });
    return voltage_mv;
}

}  // namespace lab
