// The main function of every test program. It creates the namespaces and, for every test, a phone with start values,
// and checks that the test leaves no descriptor open.
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/namespaces.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace {

using namespace cellwarden;
using namespace cellwarden::test;

int lowest_free_descriptor() {
    const int fd = dup(STDERR_FILENO);
    close(fd);
    return fd;
}

class FreshPhone : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*info*/) override {
        phone = StandIn{};
        empty_sysfs();
        free_descriptor = lowest_free_descriptor();
    }
    void OnTestEnd(const testing::TestInfo& /*info*/) override {
        EXPECT_EQ(lowest_free_descriptor(), free_descriptor) << "a descriptor is left open";
        EXPECT_EQ(phone.open_handles, 0) << "a handle of the event library is left open";
    }

    int free_descriptor = 0;
};

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (!GTEST_FLAG_GET(list_tests)) {
        enter_namespaces();
        testing::UnitTest::GetInstance()->listeners().Append(new FreshPhone);
    }
    return RUN_ALL_TESTS();
}
