// daemon: the life of vorn, start-up and then one cycle after another.
#pragma once

// Initialises every feature, in a fixed order, from the state files, properties and a first sample.
// Once per process.
void daemon_start();

// One cycle: sample, hand to the features, decide, reboot handling, sleep 10 seconds.
void daemon_cycle();
