#include "util/queue.h"

#include "util/arith.h"
#include "util/sensor_value.h"

namespace {

std::uint32_t slot_after(std::uint32_t slot, std::uint32_t capacity) {
    return slot + 1 == capacity ? 0 : slot + 1;
}

}  // namespace

void vorn_queue__init(vorn_queue* queue, std::uint32_t capacity) {
    queue->write_idx = 0;
    queue->read_idx = 0;
    queue->count = 0;
    queue->capacity = capacity;
    queue->sum = 0;
}

bool vorn_queue__is_full(const vorn_queue* queue) {
    return queue->count >= queue->capacity;
}

bool vorn_queue__push(vorn_queue* queue, std::int32_t sample) {
    if (vorn_queue__is_full(queue)) return false;
    queue->data[queue->write_idx] = sample;
    queue->write_idx = slot_after(queue->write_idx, queue->capacity);
    queue->count += 1;
    queue->sum = arith::add(queue->sum, sample);
    return true;
}

bool vorn_queue__overwrite(vorn_queue* queue, std::int32_t sample) {
    if (queue->count > 0 && vorn_queue__is_full(queue)) {
        queue->sum = arith::sub(queue->sum, queue->data[queue->read_idx]);
        queue->read_idx = slot_after(queue->read_idx, queue->capacity);
        queue->count -= 1;
    }
    return vorn_queue__push(queue, sample);
}

std::int32_t vorn_queue__get_avg(const vorn_queue* queue) {
    return arith::div(queue->sum, static_cast<std::int32_t>(queue->count));
}

std::int32_t vorn_queue__peek(const vorn_queue* queue) {
    return queue->count == 0 ? INVALID_VALUE : queue->data[queue->read_idx];
}
