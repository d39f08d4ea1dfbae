// vorn_queue: the last few samples of a quantity, with their running sum.
//
// A ring of signed 32-bit slots. The sum wraps at 32 bits. No function here allocates or fails otherwise
// than stated.
#pragma once

#include <cstdint>

constexpr std::uint32_t VORN_QUEUE_SLOTS = 15;

struct vorn_queue {
    std::int32_t data[VORN_QUEUE_SLOTS];
    std::uint32_t write_idx;  // slot the next sample goes to
    std::uint32_t read_idx;   // slot of the oldest sample
    std::uint32_t count;      // samples held
    std::uint32_t capacity;   // samples it may hold, at most VORN_QUEUE_SLOTS
    std::int32_t sum;         // of the samples held
};

// Empties the queue and sets its capacity (at most VORN_QUEUE_SLOTS). The slots keep what they held.
void vorn_queue__init(vorn_queue* queue, std::uint32_t capacity);

bool vorn_queue__is_full(const vorn_queue* queue);

// Adds a sample. False, and nothing changes, when the queue is full.
bool vorn_queue__push(vorn_queue* queue, std::int32_t sample);

// Adds a sample, dropping the oldest one when the queue is full. False only at capacity 0.
bool vorn_queue__overwrite(vorn_queue* queue, std::int32_t sample);

// Mean of the samples held, truncated toward zero; 0 when there is none.
std::int32_t vorn_queue__get_avg(const vorn_queue* queue);

// The oldest sample; INVALID_VALUE when there is none.
std::int32_t vorn_queue__peek(const vorn_queue* queue);
