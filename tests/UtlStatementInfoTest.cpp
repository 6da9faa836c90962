#include "UtlStatementInfo.h"

#include "support/Test.h"

namespace
{

TEST(StatementInfo, ComparesTextsAndNumbers)
{
    std::string const lFile("source/UtlFile"); // another address than the literal
    utl::StatementInfo const lInfo("source/UtlFile", "open", 12, 1);
    EXPECT_TRUE(lInfo == utl::StatementInfo(lFile.c_str(), "open", 12, 1));
    EXPECT_TRUE(lInfo != utl::StatementInfo("source/UtlFilf", "open", 12, 1));
    EXPECT_TRUE(lInfo != utl::StatementInfo("source/UtlFile", "oper", 12, 1));
    EXPECT_TRUE(lInfo != utl::StatementInfo("source/UtlFile", "open", 13, 1));
    EXPECT_TRUE(lInfo != utl::StatementInfo("source/UtlFile", "open", 12, 2));
    EXPECT_TRUE(utl::StatementInfo("f", nullptr, 1, 1) == utl::StatementInfo("f", "", 1, 1));
    EXPECT_TRUE(utl::StatementInfo(nullptr, nullptr, 0, 0) == utl::StatementInfo::INVALID);
}

} // namespace
