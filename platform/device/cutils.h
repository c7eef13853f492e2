// The phone's libcutils: the kernel log and the system properties.
#pragma once

extern "C" {

// Writes one line to the kernel log (/dev/kmsg) at `level` (the daemon uses 3). The text already
// starts with its own "<3>" prefix; whether it ends in a newline is the caller's choice.
void klog_write(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Copies the system property `key`, or `default_value` where it is not set, into `value`, a buffer
// of at least PROPERTY_VALUE_MAX (92) bytes, terminator included. Returns the length of the text.
int property_get(const char* key, char* value, const char* default_value);
}
