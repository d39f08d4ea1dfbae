// Android system properties on the platform's C library. (The log functions come from liblog as they are.)

#include "platform/properties.h"

#include <cstring>

// As the platform's <sys/system_properties.h> declares them.
extern "C" {
int __system_property_get(const char* name, char* value);
int __system_property_set(const char* name, const char* value);
}

int property_get(const char* name, char* value, const char* default_value) {
    const int length = __system_property_get(name, value);
    if (length > 0) return length;
    const std::size_t default_length = strnlen(default_value, PROPERTY_VALUE_MAX - 1);
    memcpy(value, default_value, default_length);
    value[default_length] = '\0';
    return static_cast<int>(default_length);
}

int property_set(const char* name, const char* value) {
    return __system_property_set(name, value);
}
