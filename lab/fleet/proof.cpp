#include "lab/fleet/proof.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include "lab/compare/run_json.h"
#include "lab/io/error.h"
#include "lab/io/work_folder.h"

namespace lab {

namespace {

namespace fs = std::filesystem;

bool is_same(const phone_row& one, const phone_row& other) {
    return one.status == other.status && one.events_digest == other.events_digest &&
           one.cycles_digest == other.cycles_digest && one.figures == other.figures;
}

std::string readable(const phone_row& row) {
    return nlohmann::json::from_cbor(packed(row)).dump(1) + "\n";
}

void keep_both(const fleet_directory& fleet, const phone_row& one, const std::string& other) {
    fs::create_directories(fleet.path() + "/differs");
    const std::string name = fleet.path() + "/differs/" + std::to_string(one.number);
    write_whole(name + ".toml", plan_phone(fleet.phones(), one.number).scenario_text);
    write_whole(name + ".first.json", readable(one));
    write_whole(name + ".second.json", other);
}

}  // namespace

void prove_twice(const fleet_directory& fleet, const phone_runner& run, phone_row& row) {
    const phone_row again = run(fleet.phones(), row.number);
    if (!is_same(row, again)) {
        keep_both(fleet, row, readable(again));
        throw phone_differs("ended differently the second time");
    }
    row.is_proved = true;
}

void prove_by(const fleet_directory& fleet, const other_build& other, const phone_row& row) {
    const work_folder folder;
    const std::string file = folder.path() + "/phone.toml";
    write_whole(file, plan_phone(fleet.phones(), row.number).scenario_text);
    std::string told;
    try {
        const run_result result = run_build(other, {{"simulate", file}, "", folder.path()});
        if (result.events_digest == row.events_digest && result.cycles_digest == row.cycles_digest) return;
        told = json_of(result).dump(1);
    } catch (const input_error& refused) {  // a sanitizer's finding is one
        told = refused.what();
    }
    keep_both(fleet, row, told + "\n");
    throw phone_differs("ended differently under " + other.program);
}

}  // namespace lab
