// charge_mgr: the battery's top-of-charge voltage (ToC), from the derating steps that its clients request.
//
// In    derating steps: from one temporary client (lasts as long as the daemon runs) and one permanent client
//       (its step outlives restarts); 0 to 9, each step 50 mV below 4450 mV
// Out   the published ToC: that of the largest step of a registered client; every client's own voltage in the
//       property it brought along; the file of the permanent client (docs/state-files.md)
// State each client's step and property setter; the ToC last published
//
// Client ids count from 0 and there is one client of each kind, so 0 is the only valid id.
#pragma once

#include <cstdint>

#include "util/results.h"
#include "util/wiring.h"

constexpr std::int32_t FULL_TOC_MV = 4450;  // step 0: no derating

// The registrations and requests return RESULT_DONE, also when there was nothing to do; RESULT_FAILED when
// there is no client property or it could not be set; RESULT_REFUSED when there is no such client or step, or
// no setter. A registration may also return what a property setter gave.

// Loads the permanent step, forgets all clients and publishes 4450 mV: a step counts from its client's
// registration on. A stored step above 9 becomes 0, in the file too.
// `clients_import` and `clients_export` transfer 1 byte. No failure is reported other than in the log.
void charge_mgr__init(record_import_fn clients_import, record_export_fn clients_export,
                      voltage_get_fn toc_get, voltage_set_fn toc_set);

// The ToC last published with success, mV. Until this run has published one: what `toc_get` gave at init, the
// ToC of the run before or its 0 or error code. 0 before init.
std::int32_t charge_mgr__get_top_of_charge_mv();

// The voltage of an empty battery: 3400 mV; 0 before init.
std::int32_t charge_mgr__get_bot_of_charge_mv();

// The client's step, 0 to 9, registered or not; INVALID_VALUE for any id but 0.
std::int32_t charge_mgr__get_perm_toc_step(std::int32_t client_id);
std::int32_t charge_mgr__get_temp_toc_step(std::int32_t client_id);

// Requests a step and publishes the ToC that follows from all steps. The client's property is set first: when
// that fails, or there is none, the step stays and RESULT_FAILED is returned. The present step again
// is RESULT_DONE without any effect. A ToC that cannot be published, and a permanent step that cannot be
// stored, leave the request accepted.
[[nodiscard]] std::int32_t charge_mgr__set_temp_toc(std::uint8_t step, std::int32_t client_id);
[[nodiscard]] std::int32_t charge_mgr__set_perm_toc(std::uint8_t step, std::int32_t client_id);

// Registers a client with the setter of its property, sets that property to the client's voltage and
// publishes the ToC. Returns the first setter's result that is not 0. The client stays registered whatever
// fails; a second registration replaces the setter.
[[nodiscard]] std::int32_t charge_mgr__register_temp_client_prop(std::int32_t client_id,
                                                                 voltage_set_fn client_set);
[[nodiscard]] std::int32_t charge_mgr__register_perm_client_prop(std::int32_t client_id,
                                                                 voltage_set_fn client_set);
