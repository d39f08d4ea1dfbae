// charge_disable: one decision out of three features' flags, published as a property.
//
// In    the flags of the charge timer, the secondary thermal detector and the precharge protection
// Out   the property persist.vendor.vorn.disable_charging.enabled, written only when the decision changes
// State the decision last published
#pragma once

// Forgets what was published, so that the next decision is written whatever it is.
void charge_disable_init();

// Decides and, on a change, publishes. A failed write is logged and tried again at the next call.
void update_chargedisable_sysprop();
