// What the check says of state files.

#include <string>

#include "lab/io/print.h"
#include "lab/state/values.h"
#include "lab/wiring/verdict_sheet.h"

namespace lab {

void check_state_files(const device_image& image, verdict_sheet& sheet) {
    std::uint64_t whole = 0, values = 0;
    std::string broken, strange;
    for (const state_file& kind : state_files) {
        const auto found = image.files.find(std::string(kind.path));
        if (found == image.files.end()) continue;
        const std::string& bytes = found->second;
        if (bytes.size() == kind.size)
            whole += 1;
        else
            broken += (broken.empty() ? "" : ", ") + std::string(kind.name) +
                      text_of(" has %zu bytes, not %zu", bytes.size(), kind.size);
        for (const state_place& each : state_places_of(kind)) {
            const auto value = state_field_text(each, bytes);
            if (!value) continue;
            values += 1;
            if (!is_in_range(each, *value) || *value == "nan")
                strange += (strange.empty() ? "" : ", ") + each.name() + " is " + *value;
        }
    }
    if (whole == 0 && broken.empty()) {
        sheet.say("files.whole", wiring_verdict::not_there, "no state files");
        return sheet.say("files.plausible", wiring_verdict::not_there, "no state files");
    }
    sheet.say("files.whole", broken.empty() ? wiring_verdict::ok : wiring_verdict::wrong,
              broken.empty() ? std::to_string(whole) + " files" : broken, "", whole);
    sheet.say("files.plausible", strange.empty() ? wiring_verdict::ok : wiring_verdict::wrong,
              strange.empty() ? std::to_string(values) + " values" : strange, "", values);
}

}  // namespace lab
