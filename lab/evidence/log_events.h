// What the daemon did, told from its log alone: the log says what it set and stopped, if one knows how to read it.
#pragma once

#include <vector>

#include "lab/evidence/log_timeline.h"
#include "lab/session/listener.h"

namespace lab {

// Hands the lines of the log to the listeners as the events that they stand for, cycle by cycle. A property that was
// set is told from the line or record that goes with it; file writes are not in a log, but for those that failed.
void tell_log(const dossier& evidence, const log_timeline& lines, const std::vector<listener*>& listeners);

// What the device held before the log begins, as far as it can be told: the voltage that its first start-up found, and
// the histogram as the pulled file has it, which is that of the end.
device_image image_before_log(const dossier& evidence, const log_timeline& lines);

}  // namespace lab
