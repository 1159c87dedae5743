// DataText: the data text the composer reads, the very text GetData gives, without a copy of a
// raw text.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "QuilRequestImpl.h"

namespace {

std::unique_ptr<QuilRequestImpl> Make() {
    QuilRequest* request = QuilRequest::Create("mtop.test.api", "1.0");
    return std::unique_ptr<QuilRequestImpl>(dynamic_cast<QuilRequestImpl*>(request));
}

}  // namespace

TEST(QuilRequestDataText, ARawTextIsGivenAsItStandsWithoutFillingTheScratch) {
    auto request = Make();
    request->AddData("a", std::string("b"));
    request->SetRawData("not json\n at all");
    std::string scratch;
    const std::string& text = request->DataText(scratch);
    EXPECT_EQ(text, "not json\n at all");
    EXPECT_EQ(text, request->GetData());
    EXPECT_TRUE(scratch.empty());
}

TEST(QuilRequestDataText, MembersAreWrittenIntoTheScratchAsGetDataWritesThem) {
    auto request = Make();
    request->AddData("a", std::string("b"));
    request->AddData("n", 2);
    std::string scratch;
    const std::string& text = request->DataText(scratch);
    EXPECT_EQ(text, request->GetData());
    EXPECT_EQ(&text, &scratch);
}

TEST(QuilRequestDataText, NoDataGivesAnEmptyObject) {
    auto request = Make();
    std::string scratch;
    EXPECT_EQ(request->DataText(scratch), "{}");
}

TEST(QuilRequestDataText, AnEmptiedRawTextBringsTheMembersBack) {
    auto request = Make();
    request->AddData("a", std::string("b"));
    request->SetRawData("{\"raw\":1}");
    request->SetRawData("");
    std::string scratch;
    EXPECT_EQ(request->DataText(scratch), "{   \"a\" : \"b\"}");
}
