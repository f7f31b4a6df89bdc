// One firmware variable: the privilege, the attempts, the sales code.
#include "vantord/uefi/uefi_handler.h"

#include <windows.h>

#include "tests/unit/uefi/uefi_fixture.h"

namespace modem_tests {
namespace {

constexpr const char* kAlreadyPerformed = "CKAVRILUEFIHandler::Ready:43 : Already performed";

class UefiHandler : public UefiTest {
 protected:
  UefiHandler() { PutSalesCode("VZW"); }

  DWORD Read() { return CKAVRILUEFIHandler(kSalesCodeName, kSalesCodeGuid).Read(code_, 4); }
  bool Write(const char* data) { return CKAVRILUEFIHandler(kSalesCodeName, kSalesCodeGuid).Write(data); }

  char code_[4] = {};
};

TEST_F(UefiHandler, ReadyEnablesThePrivilegeOnceAndKeepsTheTokenUntilTheHandlerEnds) {
  {
    CKAVRILUEFIHandler handler(kSalesCodeName, kSalesCodeGuid);
    std::uint32_t const privilege = tablet::Privileges::Number(u"SeSystemEnvironmentPrivilege").value();
    EXPECT_FALSE(machine().privileges().IsEnabled(tablet::kMachineProcess, privilege));
    EXPECT_TRUE(handler.Ready());
    EXPECT_TRUE(machine().privileges().IsEnabled(tablet::kMachineProcess, privilege));
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_TRUE(handler.Ready());
    EXPECT_THAT(messages(), ElementsAre(kAlreadyPerformed));
    EXPECT_THAT(machine().handles().OpenKinds(0), SizeIs(1));
  }
  EXPECT_THAT(machine().journal().Calls("OpenProcessToken").front().args, testing::EndsWith("0x28"));
  EXPECT_THAT(machine().journal().Calls("LookupPrivilegeValueW").front().args,
              testing::HasSubstr("SeSystemEnvironmentPrivilege"));
  EXPECT_EQ(Count("AdjustTokenPrivileges"), 1u);
  ExpectAllReleased();
}

struct ReadyCase {
  const char* call;
  const char* message;
};

TEST_F(UefiHandler, WithoutThePrivilegeNothingIsReadOrWritten) {
  for (const ReadyCase& ready : {ReadyCase{"OpenProcessToken", "21 : OpenProcessToken Failed"},
                                 ReadyCase{"LookupPrivilegeValueW", "25 : LookupPrivilegeValue Failed"},
                                 ReadyCase{"AdjustTokenPrivileges", "35 : AdjustTokenPrivileges Failed"}}) {
    PowerOnAgain(DefaultDescription());
    PutSalesCode("VZW");
    Inject(ready.call, ERROR_ACCESS_DENIED);
    std::string const failure = std::string("CKAVRILUEFIHandler::Ready:") + ready.message;
    EXPECT_EQ(Read(), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_FALSE(Write("0123456789"));
    EXPECT_THAT(messages(), ElementsAre(failure, "CKAVRILUEFIHandler::Read:70 : Ready to Read failed!",  //
                                        failure, failure, "CKAVRILUEFIHandler::Write:103 : Ready to Write failed!"));
    EXPECT_THAT(Requests(), IsEmpty());
    ExpectAllReleased();
  }
}

TEST_F(UefiHandler, AFailureIsLoggedBeforeTheTokenIsClosed) {
  for (const char* call : {"LookupPrivilegeValueW", "AdjustTokenPrivileges"}) {
    PowerOnAgain(DefaultDescription());
    Inject(call, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(CKAVRILUEFIHandler(kSalesCodeName, kSalesCodeGuid).Ready());
    std::vector<std::string> steps;
    for (const tablet::Event& event : machine().journal().events()) {
      const auto* const made = std::get_if<tablet::CallEvent>(&event.what);
      if (made != nullptr && (made->name == "TraceMessage" || made->name == "CloseHandle")) steps.push_back(made->name);
    }
    EXPECT_THAT(steps, ElementsAre("TraceMessage", "CloseHandle")) << call;
  }
}

TEST_F(UefiHandler, AReadClosesTheToken) {
  CKAVRILUEFIHandler handler(kSalesCodeName, kSalesCodeGuid);
  EXPECT_EQ(handler.Read(code_, 4), 3u);
  ExpectAllReleased();
  EXPECT_EQ(handler.Read(code_, 4), 3u);
  EXPECT_EQ(Count("OpenProcessToken"), 2u);
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(UefiHandler, AReadIsTried400TimesWithPausesOf15Milliseconds) {
  trouble() = {.status = ERROR_IO_DEVICE};
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_IO_DEVICE});
  EXPECT_THAT(Requests(), SizeIs(400));
  EXPECT_EQ(Now(), Millis{6'000}) << "the last attempt's pause counts too";
  EXPECT_EQ(TimesLogged("CKAVRILUEFIHandler::Read:81 : ERROR ! Failed to read - name[SALES_CODE] "
                        "guid[{9806d87d-b4fb-4d02-97d2-8597337abc83}], GetLastError=1117"),
            400u);
  EXPECT_EQ(TimesLogged("CKAVRILUEFIHandler::Read:84 : ERROR_IO_DEVICE, we will retry after 15 msecs"), 400u);
  EXPECT_EQ(TimesLogged("CKAVRILUEFIHandler::Read:93 : Retry count reached MAX_UEFI_IO_RETRY"), 1u);
  ExpectAllReleased();
}

TEST_F(UefiHandler, AReadSucceedsOnceTheDeviceRecovers) {
  trouble() = {.status = ERROR_IO_DEVICE, .count = 399};
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(Now(), Millis{399 * 15});
  EXPECT_EQ(TimesLogged("CKAVRILUEFIHandler::Read:93 : Retry count reached MAX_UEFI_IO_RETRY"), 0u);
}

TEST_F(UefiHandler, AnotherErrorEndsAReadAfterOneAttempt) {
  trouble() = {.status = ERROR_ACCESS_DENIED};
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  EXPECT_EQ(Now(), Millis{0});
  EXPECT_THAT(messages(), ElementsAre("CKAVRILUEFIHandler::Read:81 : ERROR ! Failed to read - name[SALES_CODE] "
                                      "guid[{9806d87d-b4fb-4d02-97d2-8597337abc83}], GetLastError=5"));
}

TEST_F(UefiHandler, WithoutADeviceAReadFailsWithTheErrorOfTheLookup) {
  PowerOnWithoutDriver();
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
  EXPECT_THAT(messages(), ElementsAre("CKAVRILUEFIHandler::Read:81 : ERROR ! Failed to read - name[SALES_CODE] "
                                      "guid[{9806d87d-b4fb-4d02-97d2-8597337abc83}], GetLastError=259"));
}

TEST_F(UefiHandler, AWriteRunsReadyTwice) {
  EXPECT_TRUE(Write("0123456789"));
  EXPECT_THAT(messages(), ElementsAre(kAlreadyPerformed));
  EXPECT_EQ(machine().firmware().variables().begin()->second.data, ToBytes("0123456789"));
}

TEST_F(UefiHandler, TheSecondReadyOfAWriteDecides) {
  Inject("OpenProcessToken", ERROR_ACCESS_DENIED, 1, 1);
  EXPECT_TRUE(Write("0123456789"));
  EXPECT_THAT(messages(), ElementsAre("CKAVRILUEFIHandler::Ready:21 : OpenProcessToken Failed"));
}

TEST_F(UefiHandler, AWriteKeepsTheTokenUntilTheHandlerEnds) {
  {
    CKAVRILUEFIHandler handler(kSalesCodeName, kSalesCodeGuid);
    handler.Write("0123456789");
    EXPECT_THAT(machine().handles().OpenKinds(0), SizeIs(1));
  }
  ExpectAllReleased();
}

TEST_F(UefiHandler, AWriteIsTried400TimesAtOnce) {
  trouble() = {.status = ERROR_IO_DEVICE};
  EXPECT_FALSE(Write("0123456789"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_IO_DEVICE});
  EXPECT_THAT(Requests(), SizeIs(400));
  EXPECT_EQ(Now(), Millis{0});
  EXPECT_EQ(TimesLogged("CKAVRILUEFIHandler::Write:113 : SAVE ITEM FAILED!!!, Error = 1117"), 400u);
  EXPECT_EQ(TimesLogged("CKAVRILUEFIHandler::Write:116 : ERROR_IO_DEVICE, we will retry"), 400u);
  EXPECT_EQ(TimesLogged("CKAVRILUEFIHandler::Write:128 : Retry count reached MAX_UEFI_IO_RETRY"), 1u);
  ExpectAllReleased();
}

TEST_F(UefiHandler, AnotherErrorEndsAWriteAfterOneAttempt) {
  trouble() = {.status = ERROR_ACCESS_DENIED};
  EXPECT_FALSE(Write("0123456789"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  EXPECT_THAT(messages(),
              ElementsAre(kAlreadyPerformed, "CKAVRILUEFIHandler::Write:113 : SAVE ITEM FAILED!!!, Error = 5"));
}

TEST_F(UefiHandler, WhateverLoggingDoesToTheLastErrorTheFailuresOwnIsLeft) {
  machine().faults().on_ask = [this](std::string_view call) {
    if (call == "TraceMessage") machine().scheduler().last_error() = ERROR_MORE_DATA;
  };
  for (DWORD const error : {DWORD{ERROR_ACCESS_DENIED}, DWORD{ERROR_IO_DEVICE}}) {
    trouble() = {.status = error};
    EXPECT_EQ(Read(), 0u);
    EXPECT_EQ(GetLastError(), error);
    EXPECT_FALSE(Write("0123456789"));
    EXPECT_EQ(GetLastError(), error);
  }
}

TEST_F(UefiHandler, NamesOf259CharactersAreUsedWhole) {
  std::u16string const name = std::u16string(258, u'n') + u"e";
  std::u16string const guid = std::u16string(258, u'g') + u"d";
  EXPECT_EQ(CKAVRILUEFIHandler(name.c_str(), guid.c_str()).Read(code_, 4), 0u);
  EXPECT_THAT(messages(),
              ElementsAre(testing::HasSubstr("name[" + tablet::ToUtf8(name) + "] guid[" + tablet::ToUtf8(guid) + "]")));
}

TEST_F(UefiHandler, AWriteOfNothingFailsOnce) {
  EXPECT_FALSE(Write(nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_BLOCK});
  EXPECT_THAT(messages(),
              ElementsAre(kAlreadyPerformed, "CKAVRILUEFIHandler::Write:113 : SAVE ITEM FAILED!!!, Error = 9"));
  EXPECT_THAT(Requests(), IsEmpty());
}

TEST_F(UefiHandler, AWriteWithoutMemoryForItsKeyIsAFailedAttempt) {
  Inject("LocalAlloc", ERROR_NOT_ENOUGH_MEMORY, 1, 1);
  EXPECT_FALSE(Write("0123456789"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
  EXPECT_THAT(Debugger(), ElementsAre("Error : Invalid memory for SetFirmwareEnvironmentVariable \n"));
  EXPECT_THAT(messages(),
              ElementsAre(kAlreadyPerformed, "CKAVRILUEFIHandler::Write:113 : SAVE ITEM FAILED!!!, Error = 8"));
}

TEST_F(UefiHandler, ASalesCodeOfThreeLettersIsReadTerminated) {
  EXPECT_TRUE(GetUEFISalesCode(code_));
  EXPECT_STREQ(code_, "VZW");
  EXPECT_THAT(messages(), ElementsAre(kAlreadyPerformed, "GetUEFISalesCode:235 : UEFI Sales_Code = VZW!!!"));
  ExpectAllReleased();
}

TEST_F(UefiHandler, TheBytesOfASalesCodeAreLoggedAsOneCharacterEach) {
  PutSalesCode("\x80\xC4\xFF");
  EXPECT_TRUE(GetUEFISalesCode(code_));
  EXPECT_EQ(messages().back(), "GetUEFISalesCode:235 : UEFI Sales_Code = " + tablet::ToUtf8(u"\u0080\u00C4\u00FF!!!"));
}

TEST_F(UefiHandler, ASalesCodeOfFiveBytesIsNotRead) {
  PutSalesCode("VZWXY");
  EXPECT_FALSE(GetUEFISalesCode(code_));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_BAD_ENVIRONMENT});
  EXPECT_THAT(code_, testing::Each(0));
}

TEST_F(UefiHandler, AFirstReadyThatFailsDoesNotEndTheSearchForTheSalesCode) {
  Inject("OpenProcessToken", ERROR_ACCESS_DENIED, 1, 1);
  EXPECT_TRUE(GetUEFISalesCode(code_));
  EXPECT_THAT(messages(), ElementsAre("CKAVRILUEFIHandler::Ready:21 : OpenProcessToken Failed",
                                      "GetUEFISalesCode:235 : UEFI Sales_Code = VZW!!!"));
}

TEST_F(UefiHandler, WithItsZonesOffTheStoreSaysNothing) {
  g_ulZoneMask = 0;
  trouble() = {.status = ERROR_ACCESS_DENIED, .count = 2};
  EXPECT_FALSE(GetUEFISalesCode(code_));
  EXPECT_FALSE(Write("0123456789"));
  EXPECT_TRUE(GetUEFISalesCode(code_));
  EXPECT_THAT(messages(), IsEmpty());
}

}  // namespace
}  // namespace modem_tests
