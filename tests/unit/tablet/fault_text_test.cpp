// Faults as people write them.
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/kernel/fault_catalog.h"
#include "tests/testing/matchers.h"

namespace {

using tablet::Failure;
using tablet::Fault;

std::string Complaint(const std::string& text) {
  try {
    tablet::ParseFault(text);
  } catch (const tablet::InputError& error) {
    return error.what();
  }
  return "no complaint";
}

void ExpectFault(const std::string& text, const Fault& expected) {
  Fault const fault = tablet::ParseFault(text);
  EXPECT_EQ(fault.call, expected.call) << text;
  EXPECT_EQ(fault.error, expected.error) << text;
  EXPECT_EQ(fault.first, expected.first) << text;
  EXPECT_EQ(fault.count, expected.count) << text;
}

TEST(FaultText, ACallAloneFailsEveryTimeWithItsLikeliestError) {
  ExpectFault("ReadFile", {.call = "ReadFile", .error = 1117});
  ExpectFault("WriteFile", {.call = "WriteFile", .error = 112});
  ExpectFault("Pstatus", {.call = "Pstatus", .error = 1117});
}

TEST(FaultText, OneOccurrenceSeveralOrAllFromOneOn) {
  ExpectFault("ReadFile@3", {.call = "ReadFile", .error = 1117, .first = 3, .count = 1});
  ExpectFault("ReadFile@3-5", {.call = "ReadFile", .error = 1117, .first = 3, .count = 3});
  ExpectFault("ReadFile@3+", {.call = "ReadFile", .error = 1117, .first = 3});
  ExpectFault("ReadFile@all", {.call = "ReadFile", .error = 1117});
}

TEST(FaultText, ErrorsAreNumbersOrWindowsNames) {
  ExpectFault("ReadFile:23", {.call = "ReadFile", .error = 23});
  ExpectFault("ReadFile@2:error_crc", {.call = "ReadFile", .error = 23, .first = 2, .count = 1});
  ExpectFault("RIL_Initialize:0x80070005", {.call = "RIL_Initialize", .error = 0x80070005});
  ExpectFault("CM_Register_Notification:CR_FAILURE", {.call = "CM_Register_Notification", .error = 0x13});
  ExpectFault("OpenSCManagerW:RPC_S_SERVER_UNAVAILABLE", {.call = "OpenSCManagerW", .error = 1722});
  ExpectFault("ReadFile:4242", {.call = "ReadFile", .error = 4242});
}

TEST(FaultText, UnknownWordsAreAnsweredWithTheNearestKnownOne) {
  EXPECT_THAT(Complaint("RaedFile"), HasSubstr("there is no call \"RaedFile\"; did you mean \"ReadFile\"?"));
  EXPECT_THAT(Complaint("readfile"), HasSubstr("did you mean \"ReadFile\"?"));
  EXPECT_THAT(Complaint("ReadFile:ERROR_CRD"), HasSubstr("did you mean \"ERROR_CRC\"?"));
  EXPECT_THAT(Complaint("WriteFile:DISC_FULL"), HasSubstr("did you mean \"ERROR_DISK_FULL\"?"));
}

TEST(FaultText, WhatMakesNoSenseIsRefused) {
  EXPECT_THAT(Complaint(""), HasSubstr("no call is named; write CALL[@WHEN][:ERROR]"));
  EXPECT_THAT(Complaint("Sleep"), HasSubstr("Sleep cannot fail"));
  EXPECT_THAT(Complaint("ReadFile:0"), HasSubstr("error 0 is success"));
  EXPECT_THAT(Complaint("ReadFile:"), HasSubstr("there is no error \"\""));
  for (const char* const when : {"0", "x", "", "5-3", "-3", "3-", "0+", "1-2-3", "99999999999"}) {
    EXPECT_THAT(Complaint(std::string("ReadFile@") + when), HasSubstr("is not an occurrence; write 3, 3-5, 3+"))
        << when;
  }
}

TEST(FaultText, AFaultIsWrittenAsItIsRead) {
  for (const char* const text :
       {"ReadFile:ERROR_CRC", "ReadFile@3:ERROR_CRC", "ReadFile@3-5:ERROR_CRC", "ReadFile@3+:ERROR_CRC",
        "ReadFile:4242", "RIL_Release:E_FAIL", "RIL_Initialize@1:S_FALSE", "CM_Register_Notification@1:CR_FAILURE"}) {
    EXPECT_EQ(tablet::WriteFault(tablet::ParseFault(text)), text);
  }
}

TEST(FaultCatalog, EachCallIsThereOnceAndHasErrorsUnlessItCannotFail) {
  std::vector<std::string_view> names;
  for (const tablet::CatalogedCall& call : tablet::FaultCatalog()) {
    EXPECT_EQ(call.errors.empty(), call.failure == Failure::kNever) << call.name;
    EXPECT_THAT(names, testing::Not(testing::Contains(call.name)));
    names.push_back(call.name);
    for (tablet::WinError const error : call.errors) {
      EXPECT_NE(tablet::NameOfError(tablet::FamilyOf(call.failure), error), "") << call.name << " " << error;
    }
  }
}

TEST(ErrorNames, ANumberHasTheNameOfItsFamily) {
  using Family = tablet::ErrorName::Family;
  EXPECT_EQ(tablet::DescribeError(Family::kSystem, 5), "ERROR_ACCESS_DENIED (5)");
  EXPECT_EQ(tablet::DescribeError(Family::kConfigurationManager, 2), "CR_OUT_OF_MEMORY (2)");
  EXPECT_EQ(tablet::DescribeError(Family::kResult, 0x80004005), "E_FAIL (0x80004005)");
  EXPECT_EQ(tablet::DescribeError(Family::kSystem, 4242), "4242");
  EXPECT_EQ(tablet::ErrorNumber("no_such_name"), std::nullopt);
}

}  // namespace
