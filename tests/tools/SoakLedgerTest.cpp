// The soak's call ledger: what it counts as a missing and as a duplicate callback, since the
// soak's verdict rests on those two figures.
#include <gtest/gtest.h>

#include "CallLedger.h"

namespace quil::soak {
namespace {

TEST(SoakLedger, EachCallWithOneCallbackLeavesNothingMissingOrDuplicate) {
    CallLedger ledger(8);
    EXPECT_EQ(ledger.NewTag(), 0);
    EXPECT_EQ(ledger.NewTag(), 1);
    ledger.Delivered(1);
    ledger.Delivered(0);
    EXPECT_EQ(ledger.Calls(), 2);
    EXPECT_EQ(ledger.Callbacks(), 2);
    EXPECT_EQ(ledger.Missing(), 0);
    EXPECT_EQ(ledger.Duplicates(), 0);
    EXPECT_EQ(ledger.Unexpected(), 0);
}

TEST(SoakLedger, ASecondCallbackAndACallbackForNoCallAreDuplicates) {
    CallLedger ledger(8);
    const int64_t tag = ledger.NewTag();
    ledger.Delivered(tag);
    ledger.Delivered(tag);
    ledger.Delivered(5);  // never handed out
    EXPECT_EQ(ledger.Duplicates(), 2);
    EXPECT_EQ(ledger.Missing(), 0);
}

TEST(SoakLedger, ACallWithoutCallbackIsMissingUnlessWithdrawnOrRefused) {
    CallLedger ledger(8);
    ledger.NewTag();
    const int64_t refused = ledger.NewTag();
    ledger.Refused(refused);
    EXPECT_EQ(ledger.Missing(), 1);
    ledger.Withdrawn();
    EXPECT_EQ(ledger.Missing(), 0);
    EXPECT_EQ(ledger.Unexpected(), 0);
}

TEST(SoakLedger, AWithdrawnCallThatStillAnswersIsUnexpected) {
    CallLedger ledger(8);
    const int64_t tag = ledger.NewTag();
    ledger.Withdrawn();
    ledger.Delivered(tag);
    EXPECT_EQ(ledger.Missing(), 0);
    EXPECT_EQ(ledger.Unexpected(), 1);
}

TEST(SoakLedger, AFullLedgerHandsOutNoTag) {
    CallLedger ledger(2);
    ledger.NewTag();
    ledger.NewTag();
    EXPECT_EQ(ledger.NewTag(), -1);
    EXPECT_EQ(ledger.Calls(), 2);
}

}  // namespace
}  // namespace quil::soak
