// The phone's libquillon_vendor: device identity.
#pragma once

#include <cstdint>

extern "C" {

// Returns the IMEI of the modem slot `selector`: the library allocates `*text`, which the caller
// frees with free(); `*length` is its length without a terminator. Returns 0 on success.
int quillon_get_imei(int selector, char** text, uint32_t* length);
}
