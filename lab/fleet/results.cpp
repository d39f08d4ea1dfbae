#include "lab/fleet/results.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <sys/utsname.h>

#include "lab/compare/digest.h"
#include "lab/io/error.h"

namespace lab {

namespace {

// Those that a result promises; `took` is about the machine.
constexpr std::array<const char*, 4> PROMISED_TABLES{"phone", "trip", "moment", "histogram"};

std::string quoted(const std::string& name) {
    std::string text = "\"";
    for (const char c : name) text += c == '"' ? std::string("\"\"") : std::string(1, c);
    return text + "\"";
}

// 0 of what is no number: the file may be anybody's.
std::uint64_t number_of(const std::string& text) {
    std::uint64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::string machine_name() {
    utsname about{};
    return ::uname(&about) == 0 ? about.nodename : "";
}

// A value of TOML as a column has it: a number, or the text without its quotes.
void bind_value(query& to, const std::string& text) {
    if (text.empty()) {
        to.with_nothing();
        return;
    }
    double number = 0;
    const auto [end, wrong] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (wrong == std::errc() && end == text.data() + text.size()) {
        to.with(number);
    } else if (text.size() >= 2 && (text.front() == '"' || text.front() == '\'')) {
        to.with(text.substr(1, text.size() - 2));
    } else {
        to.with(text);
    }
}

}  // namespace

results::results(const std::string& file, const population& of, const fleet_identity& identity,
                 phone_range about)
    : file_(file, database::mode::write) {
    // The file appears under its name when it is whole and synced, so what a cut of the power does to it meanwhile
    // is no matter. No write-ahead log: shared file systems cannot share its memory.
    file_.run("PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = DELETE; PRAGMA synchronous = OFF;");
    query tables(file_, "SELECT count(*) FROM sqlite_master");
    tables.next();
    if (tables.integer(0) == 0) create(of, identity, about);
    read_columns();
}

results::results(const std::string& file) : file_(file, database::mode::read) {
    if (meta("schema") != FLEET_SCHEMA) throw input_error(file + ": not the results of a fleet");
    read_columns();
}

void results::create(const population& of, const fleet_identity& identity, phone_range about) {
    std::string columns = "number INTEGER PRIMARY KEY, weight REAL, status TEXT, error TEXT";
    for (const population_group& each : of.groups) columns += ", " + quoted(each.name) + " TEXT";
    for (const std::string& each : of.drawn_paths()) columns += ", " + quoted(each);
    for (const phone_figure& each : phone_figures)
        columns += ", " + std::string(each.name) + (each.is_whole ? " INTEGER" : " REAL");
    columns += ", events_digest TEXT, cycles_digest TEXT";
    file_.run(
        "BEGIN; CREATE TABLE meta(key TEXT PRIMARY KEY, value TEXT);"
        "CREATE TABLE phone(" +
        columns +
        ");"
        "CREATE TABLE trip(number INTEGER, day REAL, step INTEGER, toc_mv INTEGER, stress_h REAL,"
        " PRIMARY KEY(number, day, step)) WITHOUT ROWID;"
        "CREATE TABLE moment(number INTEGER, day REAL, toc_mv INTEGER, stress_h REAL,"
        " capacity_left_pct REAL, PRIMARY KEY(number, day)) WITHOUT ROWID;"
        "CREATE TABLE histogram(number INTEGER PRIMARY KEY, hours BLOB);"
        "CREATE TABLE took(number INTEGER PRIMARY KEY, machine TEXT, seconds REAL, memory_kb INTEGER,"
        " proved INTEGER);");
    set_meta("schema", std::string(FLEET_SCHEMA));
    set_meta("version", identity.build.version);
    set_meta("daemon", identity.build.daemon);
    set_meta("lab", identity.build.lab);
    set_meta("population", identity.population);
    set_meta("first", std::to_string(about.first));
    set_meta("last", std::to_string(about.last));
    set_meta("groups", std::to_string(of.groups.size()));
    file_.run("COMMIT");
}

void results::read_columns() {
    const std::size_t groups = number_of(meta("groups"));
    std::vector<std::string> names;
    query columns(file_, "SELECT name FROM pragma_table_info('phone')");
    while (columns.next()) names.push_back(columns.text(0));
    constexpr std::size_t BEFORE = 4;  // number, weight, status, error
    constexpr std::size_t AFTER = phone_figures.size() + 2;
    if (groups > names.size() || names.size() < BEFORE + groups + AFTER)
        throw input_error(file_.file() + ": not the results of a fleet");
    const auto at = [&](std::size_t i) { return names.begin() + static_cast<std::ptrdiff_t>(i); };
    groups_.assign(at(BEFORE), at(BEFORE + groups));
    drawn_.assign(at(BEFORE + groups), at(names.size() - AFTER));
}

std::string results::meta(const std::string& key) {
    query found(file_, "SELECT value FROM meta WHERE key = ?");
    return found.with(key).next() ? found.text(0) : "";
}

void results::set_meta(const std::string& key, const std::string& value) {
    query(file_, "INSERT OR REPLACE INTO meta VALUES(?, ?)").with(key).with(value).run();
}

void results::add(const phone_row& row) {
    const auto number = static_cast<std::int64_t>(row.number);
    file_.run("BEGIN");
    std::string marks = "?";
    for (std::size_t i = 1; i < 6 + groups_.size() + drawn_.size() + row.figures.size(); ++i) marks += ",?";
    query phone(file_, "INSERT INTO phone VALUES(" + marks + ")");
    phone.with(number).with(row.weight);
    phone.with(std::string(phone_status_names[static_cast<std::size_t>(row.status)])).with(row.error);
    for (const std::string& each : row.options) phone.with(each);
    for (const std::string& each : row.drawn) bind_value(phone, each);
    for (std::size_t i = 0; i < row.figures.size(); ++i) {
        if (!row.figures[i]) {
            phone.with_nothing();
        } else if (phone_figures[i].is_whole) {
            phone.with(static_cast<std::int64_t>(*row.figures[i]));
        } else {
            phone.with(*row.figures[i]);
        }
    }
    phone.with(row.events_digest).with(row.cycles_digest).run();
    query trip(file_, "INSERT OR REPLACE INTO trip VALUES(?, ?, ?, ?, ?)");
    for (const phone_trip& each : row.trips) {
        trip.with(number).with(each.day).with(std::int64_t{each.step}).with(std::int64_t{each.toc_mv});
        trip.with(each.stress_h).run();
    }
    query moment(file_, "INSERT OR REPLACE INTO moment VALUES(?, ?, ?, ?, ?)");
    for (const phone_moment& each : row.moments) {
        moment.with(number).with(each.day).with(std::int64_t{each.toc_mv}).with(each.stress_h);
        moment.with(each.capacity_left_pct).run();
    }
    query(file_, "INSERT INTO histogram VALUES(?, ?)").with(number).with_bytes(row.histogram).run();
    query took(file_, "INSERT INTO took VALUES(?, ?, ?, ?, ?)");
    took.with(number).with(machine_name()).with(row.host_s).with(row.memory_kb);
    took.with(std::int64_t{row.is_proved ? 1 : 0}).run();
    file_.run("COMMIT");
}

std::vector<std::uint64_t> results::numbers() {
    std::vector<std::uint64_t> found;
    query phones(file_, "SELECT number FROM phone ORDER BY number");
    while (phones.next()) found.push_back(static_cast<std::uint64_t>(phones.integer(0)));
    return found;
}

std::uint64_t results::count() {
    query phones(file_, "SELECT count(*) FROM phone");
    phones.next();
    return static_cast<std::uint64_t>(phones.integer(0));
}

std::string results::digest_of(const std::string& table) {
    digest sum;
    query rows(file_, "SELECT * FROM " + table + " ORDER BY 1, 2");
    while (rows.next()) {
        for (int i = 0; i < rows.count(); ++i) sum.add(rows.is_nothing(i) ? "NULL" : rows.text(i));
    }
    return sum.hex();
}

void results::complete() {
    file_.run("BEGIN");
    for (const char* const table : PROMISED_TABLES)
        set_meta(std::string("digest of ") + table, digest_of(table));
    set_meta("rows", std::to_string(count()));
    file_.run("COMMIT");
}

bool results::is_complete() {
    const phone_range range = about();
    const bool has_all = meta("rows") == std::to_string(count()) && count() == range.last - range.first + 1;
    return has_all && std::ranges::all_of(PROMISED_TABLES, [this](const char* table) {
               return meta(std::string("digest of ") + table) == digest_of(table);
           });
}

fleet_identity results::identity() {
    return {{meta("version"), meta("daemon"), meta("lab")}, meta("population")};
}

phone_range results::about() {
    return {number_of(meta("first")), number_of(meta("last"))};
}

phone_row results::row_at(query& phones) {
    phone_row row;
    int at = 0;
    row.number = static_cast<std::uint64_t>(phones.integer(at++));
    row.weight = phones.real(at++);
    const std::string status = phones.text(at++);
    const auto found = std::ranges::find(phone_status_names, status);
    row.status = static_cast<phone_status>(found - phone_status_names.begin());
    row.error = phones.text(at++);
    for (std::size_t i = 0; i < groups_.size(); ++i) row.options.push_back(phones.text(at++));
    for (std::size_t i = 0; i < drawn_.size(); ++i) row.drawn.push_back(phones.text(at++));
    for (auto& each : row.figures) {
        if (!phones.is_nothing(at)) each = phones.real(at);
        ++at;
    }
    row.events_digest = phones.text(at++);
    row.cycles_digest = phones.text(at++);
    const auto number = static_cast<std::int64_t>(row.number);
    query trips(file_, "SELECT day, step, toc_mv, stress_h FROM trip WHERE number = ? ORDER BY day, step");
    for (trips.with(number); trips.next();)
        row.trips.push_back({trips.real(0), static_cast<std::int32_t>(trips.integer(1)),
                             static_cast<std::int32_t>(trips.integer(2)), trips.real(3)});
    query moments(
        file_, "SELECT day, toc_mv, stress_h, capacity_left_pct FROM moment WHERE number = ? ORDER BY day");
    for (moments.with(number); moments.next();)
        row.moments.push_back({moments.real(0), static_cast<std::int32_t>(moments.integer(1)),
                               moments.real(2), moments.real(3)});
    query histogram(file_, "SELECT hours FROM histogram WHERE number = ?");
    if (histogram.with(number).next()) row.histogram = histogram.bytes(0);
    query took(file_, "SELECT seconds, memory_kb, proved FROM took WHERE number = ?");
    if (took.with(number).next()) {
        row.host_s = took.real(0);
        row.memory_kb = took.integer(1);
        row.is_proved = took.integer(2) != 0;
    }
    return row;
}

void results::each(const std::function<void(phone_row)>& take) {
    query phones(file_, "SELECT * FROM phone ORDER BY number");
    while (phones.next()) take(row_at(phones));
}

phone_row results::row(std::uint64_t number) {
    query phones(file_, "SELECT * FROM phone WHERE number = ?");
    if (!phones.with(static_cast<std::int64_t>(number)).next())
        throw input_error(file_.file() + ": has no phone " + std::to_string(number));
    return row_at(phones);
}

}  // namespace lab
