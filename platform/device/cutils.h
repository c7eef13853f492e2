// The phone's libcutils: the kernel log and the system properties.
#pragma once

extern "C" {

// Writes a line to the kernel log (/dev/kmsg) at `level` (the daemon uses 3). The text already
// starts with a "<3>" prefix; the caller decides whether it ends with a newline.
void klog_write(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Copies the system property `key`, or `default_value` if it is not set, to `value`, a buffer of at
// least PROPERTY_VALUE_MAX (92) bytes including the terminator. Returns the length of the text.
int property_get(const char* key, char* value, const char* default_value);
}
