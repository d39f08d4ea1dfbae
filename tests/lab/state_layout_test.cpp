#include "lab/state/state_layout.h"

#include <gmock/gmock.h>

#include "charge_mgr/charge_mgr.h"
#include "core/persistent_files.h"
#include "lab/state/daemon_view.h"
#include "lab/state/values.h"
#include "monitors/charge_timer.h"
#include "precharge/precharge.h"
#include "tests/support/effects.h"
#include "util/status.h"

using lab::find_state_place;
using lab::state_place;
using virtual_device::the_device;

namespace {

std::string int_bytes(std::int64_t value) {
    const auto low = static_cast<std::int32_t>(value);
    return {reinterpret_cast<const char*>(&low), sizeof low};
}

}  // namespace

TEST(StateLayout, NamesEveryByteOfEveryFileOnce) {
    for (const lab::state_file& file : lab::state_files) {
        std::vector<int> uses(file.size);
        for (const state_place& place : lab::state_places_of(file)) {
            for (std::size_t i = 0; i < place.width(); ++i) ++uses.at(place.offset() + i);
            const auto found = find_state_place(place.name());
            ASSERT_TRUE(found) << place.name();
            EXPECT_EQ(found->offset(), place.offset());
            EXPECT_EQ(found->file, &file);
            const auto by_long_name = find_state_place(std::string(file.name) + "." + place.field_name());
            ASSERT_TRUE(by_long_name) << place.field_name();
            EXPECT_EQ(by_long_name->offset(), place.offset());
        }
        EXPECT_THAT(uses, testing::Each(1)) << file.name;
    }
    for (const char* name :
         {"", "batt_stress", "batt_stress[9][0]", "batt_stress[0][11]", "batt_stress[0]",
          "batt_stress[0][0]x", "batt_stress[-1][0]", "toc_clients[0][0]", "dyn_soc_params",
          "dyn_soc_params.", "toc_clients.count", "/mnt/vendor/nvcfg/vorn/toc_clients", "toc_clients "}) {
        EXPECT_FALSE(find_state_place(name)) << name;
    }
}

// The ranges of the table are what the daemon does: asked of each feature at the edges.
TEST(StateLayout, HasTheDaemonsRanges) {
    const auto precharge = [] {
        precharge_wiring wiring = {};
        wiring.counter_import = vorn_precharge_counter_import;
        wiring.counter_export = vorn_precharge_counter_export;
        wiring.timer_import = vorn_precharge_timer_import;
        wiring.timer_export = vorn_precharge_timer_export;
        (void)update_precharge_trackers(1, wiring);
    };
    const auto expiry = [] {
        charge_timer_init(20, 95, 7500, 7200, vorn_charge_fail_counter_export,
                          vorn_charge_fail_counter_import);
        charge_timer_main(0, STATUS_CHARGING, 0, 50);
        charge_timer_main(72001, STATUS_CHARGING, 0, 50);
    };
    const std::tuple<const char*, void (*)()> counts[] = {{"batt_precharge_timer", precharge},
                                                          {"batt_precharge_counter", precharge},
                                                          {"charge_failures", expiry}};
    for (const auto& [name, count_once] : counts) {
        const std::string path(lab::find_state_file(name)->path);
        // A count out of range starts from 0 again; one in range goes on. What follows -1 is 1 either way.
        for (const std::int32_t value : {INT32_MIN, -2, 0, 1, INT32_MAX - 1, INT32_MAX}) {
            the_device().at(path).put(int_bytes(value));
            count_once();
            EXPECT_EQ(the_device().at(path).bytes == int_bytes(std::int64_t{value} + 1),
                      is_in_range(*find_state_place(name), std::to_string(value)))
                << name << " " << value;
        }
    }
    for (int step = 0; step <= UINT8_MAX; ++step) {
        the_device().at("/mnt/vendor/nvcfg/vorn/toc_clients").put(std::string(1, static_cast<char>(step)));
        test::start_charge_mgr();
        EXPECT_EQ(charge_mgr__get_perm_toc_step(0) == step,
                  is_in_range(*find_state_place("toc_clients"), std::to_string(step)));
    }
    // Two buckets: one at the edge of what can be true, one just beyond.
    std::string table(396, '\0');
    const state_place edge = *find_state_place("batt_stress[0][0]");
    const state_place beyond = *find_state_place("batt_stress[8][10]");
    set_state_field(edge, table, "43800");
    set_state_field(beyond, table, "43800.004");
    EXPECT_TRUE(is_in_range(edge, "43800"));
    EXPECT_FALSE(is_in_range(beyond, "43800.004"));
    EXPECT_FALSE(is_in_range(beyond, "-1e-40"));
    EXPECT_FALSE(is_in_range(beyond, "inf"));
    EXPECT_TRUE(is_in_range(beyond, "nan"));
    const auto view =
        lab::ask_daemon({"", {{edge.file, "", false, lab::file_condition::whole, "", 396, table}}, {}});
    EXPECT_EQ(view.hours[0][0], 43800.0F);
    EXPECT_EQ(view.hours[8][10], 0.0F);
}
