// The four functions that an Android device brings along, doing nothing.

#include "platform/android_log.h"

extern "C" {
int __system_property_get(const char* name, char* value);
int __system_property_set(const char* name, const char* value);
}

int __system_property_get(const char* /*name*/, char* value) {
    *value = '\0';
    return 0;
}

int __system_property_set(const char* /*name*/, const char* /*value*/) {
    return 0;
}

int __android_log_print(int /*priority*/, const char* /*tag*/, const char* /*format*/, ...) {
    return 0;
}

int __android_log_buf_write(int /*buffer*/, int /*priority*/, const char* /*tag*/, const char* /*text*/) {
    return 0;
}
