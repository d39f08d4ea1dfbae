#include "charge_mgr/charge_mgr.h"

#include <algorithm>
#include <gmock/gmock.h>

#include "core/sys_properties.h"
#include "tests/support/effects.h"
#include "util/sensor_value.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using virtual_device::file;
using virtual_device::the_device;

constexpr char CLIENTS_FILE[] = "/mnt/vendor/nvcfg/vorn/toc_clients";

// The manager with the daemon's own files and properties behind it.
class ChargeMgr : public testing::Test {
  protected:
    void start_with_clients() {
        test::start_charge_mgr();
        ASSERT_EQ(0, charge_mgr__register_perm_client_prop(0, vorn_stress_property_set));
        ASSERT_EQ(0, charge_mgr__register_temp_client_prop(0, vorn_pulldown_property_set));
        told.take();
    }
    void store_step(char step) { clients.put(std::string(1, step)); }
    std::string toc() { return the_device().properties[TOC_PROPERTY]; }

    test::effects told;
    file& clients = the_device().at(CLIENTS_FILE);
};

TEST_F(ChargeMgr, StartsAtFullVoltageBeforeAnyClientHasRegistered) {
    store_step(2);
    test::start_charge_mgr();
    EXPECT_THAT(
        told.take(),
        ElementsAre("log 4 --- vorn CHG_MGR New ToC setting: v=4450 ---", "set persist.vendor.vorn.toc=4450",
                    "log 6 --- vorn CHG_MGR Initial ToC/BoC settings: toc_mv=4450, boc_mv=3400 ---"));
    EXPECT_EQ(4450, charge_mgr__get_top_of_charge_mv());
    EXPECT_EQ(3400, charge_mgr__get_bot_of_charge_mv());
    EXPECT_EQ(2, charge_mgr__get_perm_toc_step(0));

    EXPECT_EQ(0, charge_mgr__register_perm_client_prop(0, vorn_stress_property_set));
    EXPECT_THAT(told.take(), ElementsAre("set persist.vendor.vorn.batt_stress=4350",
                                         "log 4 --- vorn CHG_MGR New ToC setting: v=4350 ---",
                                         "set persist.vendor.vorn.toc=4350"));
}

TEST_F(ChargeMgr, ReadsTheStoredStepAndRepairsTheFile) {
    const std::string missing =
        "log 6 --- vorn CHG_MGR Init Perm Clients failed to initialize, resetting ---";
    const std::string repaired = std::string("write ") + CLIENTS_FILE + " 00";
    struct {
        std::string bytes;
        std::int32_t step;
        bool is_repaired;
    } const cases[] = {{"", 0, false}, {"\x09", 9, false}, {"\x0a", 0, true}, {"\xff\x07", 0, true}};
    for (const auto& c : cases) {
        clients.put(c.bytes);
        test::start_charge_mgr();
        EXPECT_EQ(c.step, charge_mgr__get_perm_toc_step(0));
        const auto lines = told.take();
        EXPECT_EQ(c.is_repaired, std::count(lines.begin(), lines.end(), repaired) == 1);
        EXPECT_EQ(0, std::count(lines.begin(), lines.end(), missing));
    }
    clients.remove();
    test::start_charge_mgr();
    EXPECT_EQ(0, charge_mgr__get_perm_toc_step(0));
    EXPECT_THAT(told.take(), testing::Contains(missing));
    EXPECT_FALSE(clients.exists) << "a missing file is not created by the start";
    store_step(5);
    the_device().set_fault(clients, &file::read_fails);
    test::start_charge_mgr();
    EXPECT_EQ(0, charge_mgr__get_perm_toc_step(0));
    // A repair that cannot be written is reported.
    the_device().clear_faults();
    store_step(10);
    the_device().set_fault(clients, &file::write_fails);
    test::start_charge_mgr();
    EXPECT_THAT(
        told.take("log 6 --- vorn CHG_MGR error"),
        ElementsAre("log 6 --- vorn CHG_MGR error: failed to export persistent clients: status=1 ---"));
    EXPECT_EQ(0, charge_mgr__get_perm_toc_step(0));
}

TEST_F(ChargeMgr, PublishesTheMostRestrictiveRequest) {
    start_with_clients();
    EXPECT_EQ(0, charge_mgr__set_perm_toc(2, 0));
    EXPECT_THAT(told.take(),
                ElementsAre("log 4 --- vorn CHG_MGR New ToC request: step=2, perm_id=0 ---",
                            "set persist.vendor.vorn.batt_stress=4350",
                            "log 4 --- vorn CHG_MGR New ToC setting: v=4350 ---",
                            "set persist.vendor.vorn.toc=4350", std::string("write ") + CLIENTS_FILE + " 02",
                            "log 4 --- vorn CHG_MGR: exported persistent toc clients ---"));
    EXPECT_EQ(0, charge_mgr__set_temp_toc(9, 0));
    EXPECT_EQ("4000", toc());
    EXPECT_EQ(9, charge_mgr__get_temp_toc_step(0));
    told.take();

    // The smaller request changes: the same voltage goes out once more.
    EXPECT_EQ(0, charge_mgr__set_perm_toc(3, 0));
    EXPECT_THAT(told.take("set"),
                ElementsAre("set persist.vendor.vorn.batt_stress=4300", "set persist.vendor.vorn.toc=4000"));

    EXPECT_EQ(0, charge_mgr__set_temp_toc(0, 0));
    EXPECT_THAT(told.take(), ElementsAre("log 4 --- vorn CHG_MGR New ToC request: step=0, temp_id=0 ---",
                                         "set vendor.vorn.pulldown_toc=4450",
                                         "log 4 --- vorn CHG_MGR New ToC setting: v=4300 ---",
                                         "set persist.vendor.vorn.toc=4300"));
}

TEST_F(ChargeMgr, RefusesBadArguments) {
    start_with_clients();
    for (const std::int32_t id : {-1, 1, INVALID_VALUE}) {
        EXPECT_EQ(2, charge_mgr__set_temp_toc(1, id));
        EXPECT_EQ(2, charge_mgr__register_perm_client_prop(id, vorn_stress_property_set));
        EXPECT_EQ(INVALID_VALUE, charge_mgr__get_temp_toc_step(id));
        EXPECT_EQ(INVALID_VALUE, charge_mgr__get_perm_toc_step(id));
        const std::string number = std::to_string(id);
        EXPECT_THAT(
            told.take(),
            ElementsAre(
                "log 6 --- vorn CHG_MGR error: temp toc client ID out of bounds: id=" + number + " ---",
                "log 6 --- vorn CHG_MGR error: perm toc client ID out of bounds: id=" + number + " ---"));
    }
    EXPECT_EQ(2, charge_mgr__register_temp_client_prop(0, nullptr));
    EXPECT_EQ(2, charge_mgr__register_temp_client_prop(1, nullptr));
    EXPECT_THAT(told.take(), IsEmpty());
    EXPECT_EQ(2, charge_mgr__set_perm_toc(10, 0));
    EXPECT_EQ(2, charge_mgr__set_perm_toc(255, 1)) << "the client comes before the step";
    EXPECT_THAT(told.take(),
                ElementsAre("log 6 --- vorn CHG_MGR error: toc derating step out of bounds: id=10 ---",
                            "log 6 --- vorn CHG_MGR error: perm toc client ID out of bounds: id=1 ---"));
    EXPECT_EQ(0, charge_mgr__get_perm_toc_step(0));
}

TEST_F(ChargeMgr, TakesNoRequestWithoutAClientProperty) {
    test::start_charge_mgr();
    told.take();
    EXPECT_EQ(0, charge_mgr__set_temp_toc(0, 0)) << "the present step is granted to anybody";
    EXPECT_THAT(told.take(), IsEmpty());
    EXPECT_EQ(1, charge_mgr__set_temp_toc(4, 0));
    EXPECT_THAT(told.take(), ElementsAre("log 4 --- vorn CHG_MGR New ToC request: step=4, temp_id=0 ---"));
    EXPECT_EQ(0, charge_mgr__get_temp_toc_step(0));

    start_with_clients();
    the_device().fail_property_set(STRESS_PROPERTY, true);
    EXPECT_EQ(1, charge_mgr__set_perm_toc(2, 0));
    EXPECT_THAT(told.take(), ElementsAre("log 4 --- vorn CHG_MGR New ToC request: step=2, perm_id=0 ---",
                                         "set persist.vendor.vorn.batt_stress=4350 failed"));
    EXPECT_EQ(0, charge_mgr__get_perm_toc_step(0));
    the_device().fail_property_set(STRESS_PROPERTY, false);
    EXPECT_EQ(0, charge_mgr__set_perm_toc(2, 0));
    EXPECT_EQ("4350", toc());
}

TEST_F(ChargeMgr, KeepsAnAcceptedRequestWhosePublicationOrStorageFails) {
    start_with_clients();
    the_device().fail_property_set(TOC_PROPERTY, true);
    the_device().set_fault(clients, &file::write_fails);
    EXPECT_EQ(0, charge_mgr__set_perm_toc(2, 0));
    EXPECT_THAT(
        told.take("log 6 --- vorn CHG_MGR"),
        ElementsAre("log 6 --- vorn CHG_MGR error: failed to export persistent clients: status=1 ---"));
    EXPECT_EQ(2, charge_mgr__get_perm_toc_step(0));
    EXPECT_EQ(4450, charge_mgr__get_top_of_charge_mv());

    the_device().clear_faults();
    the_device().fail_property_set(TOC_PROPERTY, false);
    EXPECT_EQ(0, charge_mgr__set_perm_toc(2, 0)) << "the same request again brings nothing about";
    EXPECT_EQ("4450", toc());
    EXPECT_EQ(0, charge_mgr__set_temp_toc(1, 0));
    EXPECT_EQ(4350, charge_mgr__get_top_of_charge_mv()) << "the next accepted change does";
}

TEST_F(ChargeMgr, AFailedRegistrationCountsAndHandsOnTheSettersResult) {
    store_step(4);
    test::start_charge_mgr();
    told.take();
    EXPECT_EQ(-7, charge_mgr__register_perm_client_prop(0, [](std::int32_t) { return -7; }));
    EXPECT_THAT(told.take(),
                ElementsAre("log 6 --- vorn CHG_MGR Register perm client: Failed to initialize property "
                            "step=4, perm_id=0 ---"));
    EXPECT_EQ("4450", toc());

    // Registered all the same: its step counts in what the other client brings about.
    the_device().fail_property_set(TOC_PROPERTY, true);
    EXPECT_EQ(1, charge_mgr__register_temp_client_prop(0, vorn_pulldown_property_set));
    the_device().fail_property_set(TOC_PROPERTY, false);
    EXPECT_EQ(0, charge_mgr__set_temp_toc(1, 0));
    EXPECT_EQ("4250", toc());

    EXPECT_EQ(0, charge_mgr__register_perm_client_prop(0, vorn_stress_property_set));
    EXPECT_EQ(0, charge_mgr__set_perm_toc(5, 0)) << "the second registration replaces the setter";
}

TEST_F(ChargeMgr, KeepsTheVoltageOfTheRunBeforeWhereItCannotPublish) {
    the_device().properties[TOC_PROPERTY] = "4250";
    the_device().fail_property_set(TOC_PROPERTY, true);
    test::start_charge_mgr();
    EXPECT_EQ(4250, charge_mgr__get_top_of_charge_mv());
    the_device().properties[TOC_PROPERTY] = "none";
    test::start_charge_mgr();
    EXPECT_THAT(told.take("log 6 --- vorn CHG_MGR Initial"),
                ElementsAre("log 6 --- vorn CHG_MGR Initial ToC/BoC settings: toc_mv=4250, boc_mv=3400 ---",
                            "log 6 --- vorn CHG_MGR Initial ToC/BoC settings: toc_mv=0, boc_mv=3400 ---"));
}

}  // namespace
