#include "lab/state/assign.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "lab/io/error.h"
#include "lab/io/input_file.h"
#include "lab/io/nearest.h"
#include "lab/io/output_file.h"
#include "lab/io/text.h"
#include "lab/state/daemon_view.h"
#include "lab/state/stored_state.h"
#include "lab/state/values.h"

namespace lab {

namespace {

struct assignment {
    std::string given;
    state_place place;
    std::string value;  // as set_state_field takes it
};

std::string probably(const std::string& name) {
    std::vector<std::string> names;
    for (const state_place& each : state_places()) {
        if (each.field->rows == 0) names.push_back(each.name());
    }
    const std::vector<std::string_view> known(names.begin(), names.end());
    const auto word = nearest(name, known);
    return word ? "; did you mean " + std::string(*word) + "?" : "";
}

assignment parse_assignment(const std::string& given) {
    const std::size_t equals = given.find('=');
    if (equals == given.npos) throw input_error("not FIELD=VALUE: " + for_message(given));
    const auto place = find_state_place(given.substr(0, equals));
    if (!place) {
        throw input_error(for_message(given.substr(0, equals)) + ": no such field" +
                          probably(given.substr(0, equals)) + " (vorn-lab state fields lists them)");
    }
    const auto value = read_value(*place, given.substr(equals + 1));
    if (!value) throw input_error(for_message(given) + ": not " + words_for_values(*place));
    return {given, *place, *value};
}

[[noreturn]] void refuse(const assignment& change, const std::string& why) {
    throw input_error(change.given + ": " + why + " (--force writes it all the same)");
}

stored_state read_or_start_state(const std::string& directory) {
    const std::filesystem::path path(directory);
    const std::string name = (path.has_filename() ? path : path.parent_path()).filename().string();
    const state_file* const meant = find_state_file(name);
    if (meant != nullptr && meant->name == name && !std::filesystem::is_directory(directory))
        throw input_error(directory + ": the name of a state file; the directory that holds it is wanted");
    if (std::filesystem::exists(directory)) {
        stored_state state = read_stored_state(directory);
        if (state.files.size() != state_files.size()) throw input_error(directory + ": not a directory");
        return state;
    }
    stored_state state = {directory, {}, {}};
    for (const state_file& kind : state_files) {
        state.files.emplace_back();
        state.files.back().kind = &kind;
    }
    return state;
}

// The directories of a root from somebody else must not lead the writing out of it.
void require_no_link(const std::filesystem::path& root, const std::filesystem::path& directory) {
    std::filesystem::path way = root;
    for (const auto& step : directory.lexically_relative(root)) {
        way /= step;
        std::error_code error;
        if (std::filesystem::is_symlink(way, error))
            throw input_error(way.string() + ": a symbolic link, which leads out of " + root.string());
    }
}

// The files as the assignments leave them.
class changed_files {
  public:
    explicit changed_files(const std::string& directory)
        : directory_(directory), state_(read_or_start_state(directory)) {}

    const stored_state& state() const { return state_; }

    // Tells the change.
    std::string set(const assignment& change) {
        stored_file& file = opened(*change.place.file);
        const std::string before = value_text(file, change.place).value_or("none");
        fill_up(file);
        set_state_field(change.place, file.bytes, change.value);
        return change.place.name() + ": " + before + " -> " + change.value + "\n";
    }

    void write() const {
        std::vector<output_file> staged;
        for (const auto& [kind, tail] : tails_) {
            const std::string path = state_file_path(directory_, *kind);
            const std::filesystem::path parent = std::filesystem::path(path).parent_path();
            require_no_link(directory_, parent);
            std::error_code error;
            std::filesystem::create_directories(parent, error);
            if (error) throw input_error(path + ": " + error.message());
            staged.emplace_back(path).write(file_of(*kind).bytes + tail);
            staged.back().finish();
        }
        for (output_file& each : staged) each.commit();
    }

  private:
    const stored_file& file_of(const state_file& kind) const {
        return *std::ranges::find(state_.files, &kind, &stored_file::kind);
    }

    stored_file& opened(const state_file& kind) {
        stored_file& file = *std::ranges::find(state_.files, &kind, &stored_file::kind);
        if (tails_.contains(&kind)) return file;
        if (file.condition == file_condition::not_opened || file.condition == file_condition::not_read)
            throw input_error(file.path + ": " + file.error);
        const bool has_tail = file.condition == file_condition::longer;
        tails_[&kind] = has_tail ? read_file(file.path).substr(kind.size) : "";
        // What the daemon would not take over from the former directory is not there for it.
        if (file.is_former && file.condition == file_condition::shorter) file.bytes.clear();
        return file;
    }

    // Makes a record whole with what the daemon would start from.
    static void fill_up(stored_file& file) {
        file.is_former = false;
        file.condition = file_condition::whole;
        if (file.bytes.size() >= file.kind->size) return;
        const bool is_parameters = file.kind->name == "dyn_soc_params";
        const daemon_view defaults = is_parameters ? ask_daemon({}) : daemon_view{};
        for (const state_place& place : state_places_of(*file.kind)) {
            if (value_text(file, place)) continue;
            const auto index = static_cast<std::size_t>(place.field - file.kind->all_fields.data());
            const std::int32_t value = !is_parameters ? 0 : index == 0 ? 1 : defaults.filters[index - 1];
            file.bytes.resize(place.offset());
            set_state_field(place, file.bytes, std::to_string(value));
        }
    }

    std::string directory_;
    stored_state state_;
    std::map<const state_file*, std::string> tails_;  // of the changed files: what follows the record
};

void check(const assignment& change, const daemon_view& view) {
    const state_field& field = *change.place.field;
    if (!is_in_range(change.place, change.value))
        refuse(change, "out of range, the daemon " + std::string(field.otherwise));
    if (change.value.ends_with("nan"))
        refuse(change, "not a number, which would make the daemon's stress hours read 0");
    const bool is_resistance = field.name.starts_with("dcr_");
    const bool is_capacity = field.name.starts_with("qmax_");
    if ((is_resistance && !view.takes_resistance) || (is_capacity && !view.takes_capacity)) {
        refuse(change, "with the file's other numbers this is no " +
                           std::string(is_resistance ? "resistance" : "capacity") +
                           " that the daemon takes; it " + std::string(field.otherwise));
    }
}

}  // namespace

std::string assign_fields(const std::string& directory, const std::vector<std::string>& assignments,
                          bool force) {
    std::vector<assignment> changes;
    for (const std::string& given : assignments) {
        const assignment& change = changes.emplace_back(parse_assignment(given));
        const auto same = std::ranges::find(changes, change.place.name(),
                                            [](const assignment& each) { return each.place.name(); });
        if (&*same != &change)
            throw input_error(change.place.name() + ": set twice: " + same->given + " and " +
                              for_message(given));
    }
    changed_files files(directory);
    std::string told;
    for (const assignment& change : changes) told += files.set(change);
    if (!force) {
        const daemon_view view = ask_daemon(files.state());
        for (const assignment& change : changes) check(change, view);
    }
    files.write();
    return told;
}

}  // namespace lab
