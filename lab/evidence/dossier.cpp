#include "lab/evidence/dossier.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string_view>

#include "lab/io/error.h"
#include "lab/io/text.h"
#include "lab/session/device_files.h"
#include "lab/state/state_layout.h"
#include "platform/virtual/device.h"

namespace lab {

namespace {

constexpr std::size_t MAX_STATE_FILE = 65536;            // bytes; the largest record has 396
constexpr std::size_t MAX_TABLE = std::size_t{1} << 28;  // bytes of a trace, events or series, kept in memory
constexpr std::uint64_t TEXT_SAMPLE = 4096;

enum class content : std::uint8_t { empty, text, events, trace, series, properties, binary };

std::string_view first_line(std::string_view head) {
    if (head.starts_with("\xEF\xBB\xBF")) head.remove_prefix(3);
    head.remove_prefix(std::min(head.find_first_not_of("\r\n"), head.size()));
    std::string_view line = head.substr(0, head.find('\n'));
    while (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

bool has_column(std::string_view header, std::string_view name) {
    for (std::size_t at = header.find(name); at != header.npos; at = header.find(name, at + 1)) {
        const std::size_t end = at + name.size();
        if ((at == 0 || header[at - 1] == ',') && (end == header.size() || header[end] == ',')) return true;
    }
    return false;
}

// "name=value" as a device root keeps properties; a log has spaces before its first "=".
bool is_property_line(std::string_view line) {
    const std::size_t equals = line.find('=');
    return equals != line.npos && equals > 0 && line.substr(0, equals).find('.') != line.npos &&
           line.substr(0, equals).find_first_of(" \t,;:/(") == line.npos;
}

content content_of(std::string_view head) {
    if (head.empty()) return content::empty;
    const std::string_view sample = head.substr(0, TEXT_SAMPLE);
    if (sample.find('\0') != sample.npos) return content::binary;
    const std::string_view line = first_line(head);
    if (line.starts_with('{') && line.find("\"event\":") != line.npos) return content::events;
    if (has_column(line, "elapsed_s") && has_column(line, "toc_mv")) return content::series;
    if (has_column(line, "elapsed_s")) return content::trace;
    if (is_property_line(line)) return content::properties;
    return content::text;
}

std::string last_part(const std::string& name) {
    return name.substr(name.rfind('/') + 1);
}

// Where a file lies on the device: a state file by its name, wherever it was put; a test file beside them.
std::string device_path_of(const std::string& name) {
    const std::string file = last_part(name);
    const std::string data = std::string(virtual_device::DATA_DIR);
    if (const state_file* kind = find_state_file(file); kind != nullptr && kind->name == file) {
        const bool is_former =
            name.ends_with(data.substr(1) + file) && std::string_view(kind->path) != data + file;
        return is_former ? data + file : std::string(kind->path);
    }
    for (const device_file& mock : MOCK_FILES) {
        if (mock.path.ends_with("/" + file)) return std::string(mock.path);
    }
    return {};
}

struct signature {
    std::string_view bytes, kind;
};
// What people send in place of evidence, and what is to be done with it.
constexpr signature SIGNATURES[] = {
    {"7z\xBC\xAF\x27\x1C", "a 7z archive: unpack it first"},
    {"\xFD"
     "7zXZ",
     "an xz archive: unpack it first"},
    {"BZh", "a bzip2 archive: unpack it first"},
    {"\x28\xB5\x2F\xFD", "a zstd archive: unpack it first"},
    {"Rar!", "a rar archive: unpack it first"},
    {"\x89PNG", "a picture: the log as text says more"},
    {"\xFF\xD8\xFF", "a picture: the log as text says more"},
    {"%PDF", "a PDF: the log as text says more"},
    {"ANDROID BACKUP", "a backup of apps, which holds nothing of the daemon"},
    {"\x7F"
     "ELF",
     "a program"},
};

std::string kind_of_foreign(std::string_view head) {
    for (const signature& each : SIGNATURES) {
        if (head.starts_with(each.bytes)) return std::string(each.kind);
    }
    return "no text, and no archive that is known";
}

// A name that promises an archive, of what is a text.
std::string note_on(const std::string& name) {
    for (const std::string_view ending : {".zip", ".gz", ".tgz", ".tar", ".7z"}) {
        if (name.ends_with(ending)) return "text in a " + std::string(ending) + ": taken as text";
    }
    return {};
}

class reader {
  public:
    reader(dossier& into, std::string input) : into_(into), input_(std::move(input)) {}

    void take(const std::string& name, peeked_stream& bytes, bool is_out_of_gzip) {
        const auto number = static_cast<std::uint32_t>(into_.sources.size());
        into_.sources.push_back({shown(name), "", source_state::read, "", 0});
        try {
            if (!is_out_of_gzip) into_.sources[number].note = note_on(name.empty() ? input_ : name);
            take_content(name, bytes, number);
        } catch (const broken_stream& broken) {
            into_.sources[number].state = source_state::in_part;
            into_.sources[number].why = on_one_line(broken.what());
        }
        const source_state state = into_.sources[number].state;
        if (state != source_state::empty && state != source_state::foreign) return;
        (state == source_state::empty ? into_.empty_sources : into_.foreign_sources) += 1;
        into_.sources.pop_back();
    }

    void trouble(const std::string& name, const std::string& why) {
        into_.sources.push_back({shown(name), "", source_state::in_part, on_one_line(why), 0});
    }

  private:
    std::string shown(const std::string& name) const {
        return without_personal(on_one_line(name.empty() ? last_part(input_) : name));
    }

    void take_content(const std::string& name, peeked_stream& bytes, std::uint32_t number) {
        source& about = into_.sources[number];
        const std::string path = device_path_of(name.empty() ? input_ : name);
        if (!path.empty()) return take_device_file(path, bytes, number);
        switch (content_of(bytes.head())) {
            case content::empty:
                about.state = source_state::empty;
                return;
            case content::events:
                return take_table(into_.events, "events", bytes, number);
            case content::trace:
                return take_table(into_.trace, "trace", bytes, number);
            case content::series:
                return take_table(into_.series, "series", bytes, number);
            case content::properties:
                return take_properties(bytes, number);
            case content::text:
                return take_log(bytes, number);
            case content::binary:
                about.state = source_state::foreign;
                into_.looks_like = kind_of_foreign(bytes.head());
                return;
        }
    }

    void take_device_file(const std::string& path, peeked_stream& bytes, std::uint32_t number) {
        source& about = into_.sources[number];
        about.holds = "state file";
        std::string content = read_all(bytes, MAX_STATE_FILE);
        const auto [known, is_new] = into_.image.files.try_emplace(path, content);
        if (!is_new && known->second != content)
            into_.contradictions.push_back(path + " is there twice and differs: " +
                                           into_.sources[into_.image_from.at(path).source].name + ", " +
                                           about.name);
        if (is_new) into_.image_from[path] = {number, 0};
    }

    void take_table(std::optional<sourced_file>& table, const char* what, peeked_stream& bytes,
                    std::uint32_t number) {
        source& about = into_.sources[number];
        about.holds = what;
        if (table) {
            about.state = source_state::in_part;
            about.why = std::string("there are ") + what + " already, from " +
                        into_.sources[table->source].name + ": these are not read";
            return;
        }
        table = sourced_file{input_file::from_text(read_all(bytes, MAX_TABLE), about.name), number};
    }

    void take_properties(peeked_stream& bytes, std::uint32_t number) {
        source& about = into_.sources[number];
        about.holds = "properties";
        const std::string text = read_all(bytes, MAX_TABLE);
        std::uint64_t line_number = 0;
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = std::min(text.find('\n', at), text.size());
            std::string line = text.substr(at, end - at);
            at = end + 1;
            line_number += 1;
            while (line.ends_with('\r')) line.pop_back();
            const std::size_t equals = line.find('=');
            if (equals == line.npos) continue;
            const std::string name = line.substr(0, equals);
            if (name.find(".vorn.") == name.npos && name != "persist.sys.timezone") continue;
            into_.image.properties.try_emplace(name, line.substr(equals + 1));
            into_.image_from.try_emplace(name, place{number, line_number});
        }
    }

    void take_log(peeked_stream& bytes, std::uint32_t number) {
        const std::size_t properties = into_.log.properties().size();
        std::string broken;
        const std::size_t before = into_.log.entries().size();
        try {
            into_.log.read(bytes, number);
        } catch (const broken_stream& why) {
            broken = why.what();
        }
        source& about = into_.sources[number];
        about.lines = into_.log.entries().size() - before;
        if (about.lines > 0) {
            about.holds = "log";
        } else if (into_.log.properties().size() > properties) {
            about.holds = "properties";
        } else if (broken.empty()) {
            about.state = source_state::foreign;
            into_.looks_like = "a text without a line of the daemon";
        }
        if (!broken.empty()) throw broken_stream(broken);
        if (into_.log.is_full()) throw broken_stream("more lines of the daemon than are kept");
    }

    dossier& into_;
    std::string input_;
};

bool is_personal_word(std::string_view word) {
    if (word.find('@') != word.npos) return true;
    const auto digits = std::ranges::count_if(word, [](unsigned char c) { return std::isdigit(c) != 0; });
    const bool is_plain = std::ranges::all_of(word, [](unsigned char c) { return std::isalnum(c) != 0; });
    return is_plain && word.size() >= 8 && digits >= 4 && word.size() < 256;
}

}  // namespace

bool dossier::is_empty() const {
    return log.entries().empty() && log.properties().empty() && image.files.empty() &&
           image.properties.empty() && !trace && !events && !series;
}

std::uint64_t dossier::troubles() const {
    return static_cast<std::uint64_t>(std::ranges::count(sources, source_state::in_part, &source::state));
}

void absorb_evidence(dossier& into, dossier&& other) {
    const auto first = static_cast<std::uint32_t>(into.sources.size());
    into.log.absorb(other.log, first);
    std::ranges::move(other.sources, std::back_inserter(into.sources));
    for (const auto& [path, bytes] : other.image.files) {
        const auto [known, is_new] = into.image.files.try_emplace(path, bytes);
        if (!is_new && known->second != bytes)
            into.contradictions.push_back(path + " is there twice and differs");
    }
    into.image.properties.merge(other.image.properties);
    for (const auto& [name, at] : other.image_from)
        into.image_from.try_emplace(name, place{at.source + first, at.line});
    const auto take = [first](std::optional<sourced_file>& table, std::optional<sourced_file>& from) {
        if (table || !from) return;
        table = std::move(from);
        table->source += first;
    };
    take(into.trace, other.trace);
    take(into.events, other.events);
    take(into.series, other.series);
    std::ranges::move(other.contradictions, std::back_inserter(into.contradictions));
    into.empty_sources += other.empty_sources;
    into.foreign_sources += other.foreign_sources;
    into.input += (into.input.empty() ? "" : ", ") + other.input;
}

namespace {

void read_by(const std::string& input, dossier& into, walk_limits limits,
             const std::function<void(archive_walk&)>& walk) {
    reader to(into, input == "-" ? "standard input" : input);
    into.input += (into.input.empty() ? "" : ", ") + input;
    archive_walk walker(
        [&](const std::string& name, peeked_stream& bytes) { to.take(name, bytes, walker.is_out_of_gzip()); },
        [&](const std::string& name, const std::string& why) { to.trouble(name, why); }, limits);
    walk(walker);
}

}  // namespace

void read_evidence(const std::string& input, dossier& into, const evidence_progress& progress,
                   walk_limits limits) {
    read_by(input, into, limits, [&](archive_walk& walker) {
        if (progress) walker.on_progress(progress);
        walker.walk(input);
    });
}

void read_evidence(const std::string& name, byte_stream& content, dossier& into, walk_limits limits) {
    read_by(name, into, limits, [&](archive_walk& walker) { walker.walk_stream("", content); });
}

// FNV-1a, so that one text has one token in every run and no table is kept.
std::string without_personal(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() &&
               (std::isalnum(static_cast<unsigned char>(text[end])) != 0 || text[end] == '@' ||
                (text[end] == '.' && text.find('@', at) < text.find_first_of("/ ", at))))
            ++end;
        const std::string word = text.substr(at, end - at);
        if (is_personal_word(word)) {
            std::uint32_t hash = 2166136261U;
            for (const char c : word) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
            result += "id-";
            append_hex(result, {reinterpret_cast<const char*>(&hash), sizeof hash});
        } else {
            result += word;
        }
        at = end;
        if (at < text.size()) result += text[at++];
    }
    return result;
}

}  // namespace lab
