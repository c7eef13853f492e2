#include "passport/passport.h"

#include <openssl/sha.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "passport/production_date_fixes.h"
#include "platform/log.h"
#include "platform/unit_store.h"
#include "state/wrapping.h"

namespace cellwarden {
namespace {

constexpr int IMEI_SELECTOR = 1;

ImeiDigest sha256(const char* text, uint32_t length) {
    ImeiDigest digest;
    SHA256_CTX context;
// The phone's libcrypto offers these three calls, and no newer interface is needed for one digest.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    SHA256_Init(&context);
    SHA256_Update(&context, text, length);
    SHA256_Final(digest.data(), &context);
#pragma GCC diagnostic pop
    return digest;
}

std::optional<ImeiDigest> imei_digest(const Device& device) {
    char* text = nullptr;
    uint32_t length = 0;
    // A length without a text is not an IMEI, even if the library reports success.
    if (device.quillon_get_imei(device.context, IMEI_SELECTOR, &text, &length) != 0 ||
        (text == nullptr && length > 0)) {
        return std::nullopt;
    }
    const ImeiDigest digest = sha256(text, length);
    free(text);
    return digest;
}

}  // namespace

std::optional<int32_t> production_date_seconds(const char (&date)[PRODUCTION_DATE_SIZE + 1]) {
    int year = 99;
    int month = 99;
    int day = 99;
    (void)sscanf(date, "%02d%02d%02d", &year, &month, &day);
    if (month < 1 || month > 12 || day < 1 || day > 31) {
        return std::nullopt;
    }
    tm calendar{};
    calendar.tm_mday = day;
    calendar.tm_mon = month - 1;
    calendar.tm_year = year + 100;
    return low_i32(timegm(&calendar));
}

bool repair_production_date(const Device& device, PassportMemory& memory) {
    if (!memory.production_date_fix_pending) {
        return true;
    }
    const std::optional<ImeiDigest> digest = imei_digest(device);
    if (!digest) {
        log_line(device, "<3>cellwarden: Failed to get IMEI");
        return false;
    }
    const auto fixes = production_date_fixes();
    const auto fix = std::find_if(fixes.begin(), fixes.end(), [&](const ProductionDateFix& row) {
        return row.imei_digest == *digest;
    });
    if (fix != fixes.end()) {
        if (device.tessera_write_unit(device.context, UNIT_PRODUCTION_DATE, fix->production_date,
                                      PRODUCTION_DATE_SIZE) != 0) {
            log_line(device, "<3>cellwarden: Failed to write TESSERA_BATTERY_PRODUCTION_DATE");
            return false;
        }
        log_line(device, "<3>cellwarden: Battery manufacturing date has been repaired");
    }
    memory.production_date_fix_pending = false;
    return true;
}

}  // namespace cellwarden
