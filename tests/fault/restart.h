// A power cut. The daemon itself needs none: daemon_start forgets whatever an earlier run left in memory.
#pragma once

namespace fault {

// What a power cut leaves of the virtual device: state files and persistent properties. Its listeners stay.
void lose_power();

}  // namespace fault
