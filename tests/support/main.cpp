// The main function of every test program: namespaces of its own, and a fresh phone for every test.
#include <gtest/gtest.h>

#include "support/namespaces.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace {

using namespace cellwarden::test;

class FreshPhone : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*info*/) override {
        phone = FakePhone{};
        empty_sysfs();
    }
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
