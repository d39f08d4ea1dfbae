// Android system properties, declared as the platform declares them.
#pragma once

// Size of a value buffer: 91 characters and the terminator.
constexpr int PROPERTY_VALUE_MAX = 92;

extern "C" {
// Copies the value of property `name`, or `default_value` when it is unset or empty, into `value`
// (PROPERTY_VALUE_MAX bytes, terminated). Returns the length copied.
int property_get(const char* name, char* value, const char* default_value);

// Sets property `name`. Returns 0 on success; otherwise nothing has changed.
int property_set(const char* name, const char* value);
}
