#include "charge_mgr/charge_mgr.h"

#include <algorithm>

#include "util/arith.h"
#include "util/log.h"
#include "util/sensor_value.h"

namespace {

constexpr std::int32_t BOT_OF_CHARGE_MV = 3400;
constexpr std::int32_t STEP_MV = 50;
constexpr std::uint8_t STEP_COUNT = 10;   // derating step [steps of 50 mV] >= this: refused
constexpr std::int32_t CLIENT_COUNT = 1;  // of each kind; the only valid id is 0
static_assert(FULL_TOC_MV - (STEP_COUNT - 1) * STEP_MV > BOT_OF_CHARGE_MV);

struct toc_client {
    std::uint8_t step;        // derating step now requested, 0 to 9
    voltage_set_fn prop_set;  // the client's own property; null until it registers, and then it counts
};

struct {
    record_export_fn toc_clients_export;  // writes the permanent client's file
    voltage_set_fn toc_prop_set;          // publishes the ToC
    std::int32_t toc_mv;                  // last published with success, mV
    bool boc_enabled;                     // since init
    toc_client temp_toc_clients[CLIENT_COUNT];
    toc_client perm_toc_clients[CLIENT_COUNT];
} s;

enum class kind { temp, perm };

constexpr const char* word_for(kind which) {
    return which == kind::temp ? "temp" : "perm";
}

toc_client* clients_of(kind which) {
    return which == kind::temp ? s.temp_toc_clients : s.perm_toc_clients;
}

constexpr bool is_client(std::int32_t client_id) {
    return client_id >= 0 && client_id < CLIENT_COUNT;
}

constexpr std::int32_t toc_from_step(std::uint8_t step) {
    return step < STEP_COUNT ? FULL_TOC_MV - STEP_MV * step : INVALID_VALUE;
}

// The most restrictive request wins, and the larger step is the lower voltage.
std::uint8_t combined_step() {
    std::uint8_t step = 0;
    for (const kind which : {kind::temp, kind::perm}) {
        for (std::int32_t id = 0; id < CLIENT_COUNT; ++id) {
            const toc_client& client = clients_of(which)[id];
            if (client.prop_set != nullptr) step = std::max(step, client.step);
        }
    }
    return step;
}

// Publishes anew even when the voltage stays: every accepted change is visible on the charger side.
std::int32_t publish_toc() {
    const std::int32_t toc_mv = toc_from_step(combined_step());
    if (toc_mv == INVALID_VALUE) {  // steps are checked on their way in, so this is the last line of defence
        LOG_ERROR("CHG_MGR New ToC setting is invalid ---\n");
        return RESULT_FAILED;
    }
    LOG_INFO("CHG_MGR New ToC setting: v=%d ---\n", toc_mv);
    const std::int32_t result = s.toc_prop_set(toc_mv);
    if (result == RESULT_DONE) s.toc_mv = toc_mv;
    return result;
}

void export_perm_clients() {
    const std::uint8_t step = s.perm_toc_clients[0].step;
    const std::int32_t status = s.toc_clients_export(&step, sizeof step);
    if (status != RESULT_DONE) {
        LOG_ERROR("CHG_MGR error: failed to export persistent clients: status=%d ---\n", status);
    } else {
        LOG_INFO("CHG_MGR: exported persistent toc clients ---\n");
    }
}

void load_perm_clients(record_import_fn clients_import) {
    std::uint8_t stored_step = 0;  // stays 0 when the file is empty or its read fails
    if (clients_import(&stored_step, sizeof stored_step) != RESULT_DONE) {
        LOG_ERROR("CHG_MGR Init Perm Clients failed to initialize, resetting ---\n");
    } else if (stored_step < STEP_COUNT) {
        s.perm_toc_clients[0].step = stored_step;
    } else {
        export_perm_clients();
    }
}

std::int32_t step_of(kind which, std::int32_t client_id) {
    return is_client(client_id) ? clients_of(which)[client_id].step : INVALID_VALUE;
}

void log_unknown_client(kind which, std::int32_t client_id) {
    LOG_ERROR("CHG_MGR error: %s toc client ID out of bounds: id=%d ---\n", word_for(which), client_id);
}

// Brings the client's property in line with its step.
std::int32_t init_client_prop(const toc_client& client) {
    const std::int32_t toc_mv = toc_from_step(client.step);
    if (toc_mv == INVALID_VALUE) {
        LOG_ERROR("CHG_MGR ToC is invalid cannot set client prop: step=%d, ---\n", client.step);
        return RESULT_FAILED;
    }
    return client.prop_set(toc_mv);
}

std::int32_t register_client(kind which, std::int32_t client_id, voltage_set_fn client_set) {
    if (client_set == nullptr) return RESULT_REFUSED;
    if (!is_client(client_id)) {
        log_unknown_client(which, client_id);
        return RESULT_REFUSED;
    }
    toc_client& client = clients_of(which)[client_id];
    client.prop_set = client_set;
    const std::int32_t result = init_client_prop(client);
    if (result != RESULT_DONE) {
        LOG_ERROR("CHG_MGR Register %s client: Failed to initialize property step=%d, %s_id=%d ---\n",
                  word_for(which), client.step, word_for(which), client_id);
        return result;
    }
    return publish_toc();
}

std::int32_t request_step(kind which, std::uint8_t step, std::int32_t client_id) {
    if (!is_client(client_id)) {
        log_unknown_client(which, client_id);
        return RESULT_REFUSED;
    }
    if (step >= STEP_COUNT) {
        LOG_ERROR("CHG_MGR error: toc derating step out of bounds: id=%d ---\n", step);
        return RESULT_REFUSED;
    }
    toc_client& client = clients_of(which)[client_id];
    if (step == client.step) return RESULT_DONE;

    LOG_INFO("CHG_MGR New ToC request: step=%d, %s_id=%d ---\n", step, word_for(which), client_id);
    if (client.prop_set == nullptr) return RESULT_FAILED;
    if (client.prop_set(toc_from_step(step)) != RESULT_DONE) return RESULT_FAILED;
    client.step = step;
    (void)publish_toc();  // a failure is put right by the next accepted change
    if (which == kind::perm) export_perm_clients();
    return RESULT_DONE;
}

}  // namespace

void charge_mgr__init(record_import_fn clients_import, record_export_fn clients_export,
                      voltage_get_fn toc_get, voltage_set_fn toc_set) {
    s = {};
    s.toc_clients_export = clients_export;
    s.toc_prop_set = toc_set;
    load_perm_clients(clients_import);
    s.toc_mv = toc_get();
    s.boc_enabled = true;
    (void)publish_toc();  // a failure shows in the voltage that the next line logs
    LOG_ERROR("CHG_MGR Initial ToC/BoC settings: toc_mv=%d, boc_mv=%d ---\n", s.toc_mv,
              charge_mgr__get_bot_of_charge_mv());
}

std::int32_t charge_mgr__get_top_of_charge_mv() {
    return s.toc_mv;
}

std::int32_t charge_mgr__get_bot_of_charge_mv() {
    return s.boc_enabled ? BOT_OF_CHARGE_MV : 0;
}

std::int32_t charge_mgr__get_perm_toc_step(std::int32_t client_id) {
    return step_of(kind::perm, client_id);
}

std::int32_t charge_mgr__get_temp_toc_step(std::int32_t client_id) {
    return step_of(kind::temp, client_id);
}

std::int32_t charge_mgr__set_temp_toc(std::uint8_t step, std::int32_t client_id) {
    return request_step(kind::temp, step, client_id);
}

std::int32_t charge_mgr__set_perm_toc(std::uint8_t step, std::int32_t client_id) {
    return request_step(kind::perm, step, client_id);
}

std::int32_t charge_mgr__register_temp_client_prop(std::int32_t client_id, voltage_set_fn client_set) {
    return register_client(kind::temp, client_id, client_set);
}

std::int32_t charge_mgr__register_perm_client_prop(std::int32_t client_id, voltage_set_fn client_set) {
    return register_client(kind::perm, client_id, client_set);
}
