#include "lab/session/boot.h"

#include <memory>
#include <stdexcept>
#include <unistd.h>
#include <utility>

#include "lab/session/daemon_seat.h"
#include "lab/session/sampler.h"

namespace lab {

namespace {

using virtual_device::device;

constexpr int CYCLES_PER_PROGRESS = 1 << 15;

// What the callbacks of the device need.
struct effect_sender {
    wire::sender& to;
    const device& on;

    void send(wire::event_numbers what, std::string_view name, std::string_view text) const {
        what.elapsed_s = on.elapsed_s;
        what.real_time_s = on.real_time_s;
        wire::send_event(to, what, name, text);
    }
};

void send_log(void* context, int priority, const char* tag, const char* text) {
    static_cast<effect_sender*>(context)->send({.kind = event_kind::log, .priority = priority}, tag, text);
}

void send_metric(void* context, int buffer, int priority, const char* tag, const char* text) {
    static_cast<effect_sender*>(context)->send(
        {.kind = event_kind::metric, .priority = priority, .buffer = buffer}, tag, text);
}

void send_property_set(void* context, const char* name, const char* value, int result) {
    static_cast<effect_sender*>(context)->send({.kind = event_kind::property_set, .result = result}, name,
                                               value);
}

void send_write(void* context, const std::string& path, const void* data, std::size_t size,
                std::ptrdiff_t result) {
    static_cast<effect_sender*>(context)->send({.kind = event_kind::write, .result = result}, path,
                                               {static_cast<const char*>(data), size});
}

void load_image(device& on, const device_image& image) {
    on = device();
    for (const auto& [path, bytes] : image.files) on.at(path).put(bytes);
    for (const auto& [name, value] : image.properties) on.properties[name] = value;
}

std::size_t size_of_map(const std::map<std::string, std::string>& entries) {
    std::size_t size = sizeof(std::uint32_t);
    for (const auto& [key, value] : entries) size += wire::size_of_text(key) + wire::size_of_text(value);
    return size;
}

void put_map(wire::sender& to, const std::map<std::string, std::string>& entries) {
    to.put_number(static_cast<std::uint32_t>(entries.size()));
    for (const auto& [key, value] : entries) {
        to.put_text(key);
        to.put_text(value);
    }
}

std::map<std::string, std::string> receive_map(wire::body& from) {
    std::map<std::string, std::string> entries;
    for (auto left = from.number<std::uint32_t>(); left > 0; --left) {
        std::string key(from.text());
        entries.emplace(std::move(key), from.text());
    }
    return entries;
}

void send_result(wire::sender& to, const device& on, course& device_course) {
    boot_result result;
    for (const virtual_device::file* file : on.state_files()) result.image.files[file->path] = file->bytes;
    result.image.properties.insert(on.properties.begin(), on.properties.end());
    result.has_more_boots = device_course.has_more_boots();
    result.course_state = device_course.save();

    to.begin(wire::kind::boot_over, size_of_map(result.image.files) + size_of_map(result.image.properties) +
                                        wire::size_of_text(result.course_state) + sizeof(bool));
    put_map(to, result.image.files);
    put_map(to, result.image.properties);
    to.put_text(result.course_state);
    to.put_number(result.has_more_boots);
    to.end();
}

void send_number(wire::sender& to, wire::kind what, auto number) {
    to.begin(what, sizeof number);
    to.put_number(number);
    to.end();
}

void send_clocks(wire::sender& to, const device& on) {
    to.begin(wire::kind::clocks, sizeof on.elapsed_s + sizeof on.real_time_s);
    to.put_number(on.elapsed_s);
    to.put_number(on.real_time_s);
    to.end();
}

void run_cycles(course& device_course, device& on, daemon_seat& daemon, boot_wishes wishes, wire::sender& to,
                wire::shared_state& shared) {
    sampler nodes(on);
    cycle after;
    int until_progress = CYCLES_PER_PROGRESS;
    while (device_course.next_cycle(on)) {
        // Before the cycle, so that a crash in it can be placed.
        shared.elapsed_s = on.elapsed_s;
        shared.source_line = device_course.source_line();
        daemon.run_cycle();
        if (wishes.state || wishes.samples) {
            after.elapsed_s = on.elapsed_s;
            after.real_time_s = on.real_time_s;
            const charge_limits limits = daemon.read(after);
            if (wishes.samples) after.seen = nodes.read();
            device_course.truth(limits, after.truth);
            wire::send_cycle(to, after);
        } else if (wishes.cycles) {
            send_clocks(to, on);
        }
        if (--until_progress == 0) {
            until_progress = CYCLES_PER_PROGRESS;
            send_number(to, wire::kind::progress, device_course.progress());
            to.flush();
        }
    }
}

void run_course(course& device_course, device& on, boot_wishes wishes, wire::sender& to,
                wire::shared_state& shared) {
    effect_sender effects{to, on};
    const std::unique_ptr<daemon_seat> daemon = take_seat(on);
    const std::int64_t boot = device_course.begin_boot(on);
    if (wishes.events) on.told = {&effects, send_log, send_metric, send_property_set, send_write, nullptr};
    send_number(to, wire::kind::boot, boot);
    shared.source_line = device_course.source_line();
    daemon->start();
    shared.is_started = true;
    run_cycles(device_course, on, *daemon, wishes, to, shared);
    on.told = {};
    send_result(to, on, device_course);
}

void send_failure(wire::sender& to, wire::kind which, std::string_view message) {
    to.begin(which, wire::size_of_text(message));
    to.put_text(message);
    to.end();
}

}  // namespace

void run_boot(course& device_course, const device_image& image, boot_wishes wishes,
              wire::shared_state& shared, int channel) {
    wire::sender to(shared, channel);
    try {
        device& on = virtual_device::the_device();
        load_image(on, image);
        run_course(device_course, on, wishes, to, shared);
    } catch (const std::logic_error& thrown) {
        send_failure(to, wire::kind::fault, thrown.what());
    } catch (const std::exception& thrown) {
        send_failure(to, wire::kind::failure, thrown.what());
    }
    to.flush();
    // Nothing of the parent's that this process holds a copy of may be flushed or destroyed here.
    ::_exit(0);
}

boot_result receive_boot_result(wire::body from) {
    boot_result result;
    result.image.files = receive_map(from);
    result.image.properties = receive_map(from);
    result.course_state = from.text();
    result.has_more_boots = from.number<bool>();
    return result;
}

}  // namespace lab
