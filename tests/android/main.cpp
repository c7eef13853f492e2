// The main function of the test program for a phone. It needs no namespaces, because its tests use no
// file.
#include <gtest/gtest.h>

#include "support/phone.h"

namespace {

using namespace cellwarden::test;

class FreshPhone : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*info*/) override { phone = cellwarden::StandIn{}; }
};

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new FreshPhone);
    return RUN_ALL_TESTS();
}
