"""What each deliberate behaviour means in the field, by the first test that its mark names."""

CONSEQUENCES = {
    "ServiceBase.ADispatcherThatCannotBeReachedEndsTheProgramQuietly": "starting the executable by hand shows nothing",
    "ServiceBase.PauseContinueAndShutdownAreRouted": "none: the service manager does not send them",
    "ServiceBase.InterrogateReportsNothing": "the service manager shows the state of the last report",
    "ServiceBase.TheHandlerAlwaysAnswersNoError": "a sender of an unknown control sees success",
    "ServiceBase.TheWaitHintIsAlwaysZero": "a tool that honours wait hints gives up early on a long stop",
    "ServiceBase.TheStatusMessageShowsTheAcceptedControls":
        "every status line in a trace ends in 141; states are read from the service manager",
    "ServiceBase.ControlsAreAcceptedInEveryStateButStartPendingAndStopped":
        "a preshutdown during a stop runs the stop work again",
    "ServiceBase.AStartThatRaisesAnIntegerIsACleanStop":
        "a Wi-Fi tablet shows a stopped service without an error, and no failure action runs",
    "ServiceBase.APreshutdownThatRaisesStaysStopPending": "the shutdown waits for its time-out",
    "ServiceConfiguration.WithoutRightsOnTheServiceManagerTheStartGoesOn": "two lines in a trace for one cause",
    "Notifications.AnUnknownActionIsLoggedInTheSameWords": "a trace does not show which action arrived",
    "Notifications.AFailedUnregistrationIsNotTriedAgain": "none: the process ends next",
    "VantordService.AcceptsStopPowerAndPreshutdown": "`sc pause` fails; at shutdown the service gets a preshutdown",
    "VantordService.WhatIsLoggedBeforeTheStartWorkIsNeverDelivered": "the line is in no trace",
    "VantordService.AWorkerThatCannotBeQueuedStopsTheServiceWithTheError":
        "none: the process ends right after the STOPPED report",
    "VantordService.AStopDuringTheStartUpWaitsForItInStepsOfTwoSeconds": "a stop during a deployment can take minutes",
    "VantordService.AStopUnregistersTheTraceProviderAndSaysNothingAfterIt": "a trace of a stop ends before STOPPED",
    "ControlHandling.ASuspendIsToldToThePartnerBeforeTheModem": "a slow partner delays the modem's notice",
    "ControlHandling.ADimmedDisplayLeavesTheFlagUnchanged": "none: nothing reads the flag",
    "ControlHandling.AllOtherControlsAreIgnoredTheSuspendNoticeAmongThem":
        "a wrong control number leaves only entry and exit in a trace",
    "PartnerService.AStopThatEndsWithoutAWaitHintCountsAsTimedOut":
        "the partner is not started although it has stopped",
    "PartnerService.AStartWithoutProgressIsLeftWithoutAWord":
        "the five lines about the failed start do not name the cause",
    "PartnerService.IsLeftAloneWhenItRunsOrStartsOrPauses": "a paused partner stays paused",
    "PartnerService.ASuspendNoticeIsLoggedInTheErrorZoneEvenWhenItArrives":
        "each suspend leaves a line that looks like an error",
    "PartnerService.ASuspendNoticeClosesTheServiceManagerFirst": "none",
    "DiagnosticLogTest.AMissingZoneMaskIsSaidToNobody": "a trace does not show that the value is missing",
    "ModemQc.EventOperationsDoNothing": "power and device events change nothing",
    "ModemTemplate.OnlyTheConcreteClassHasAVirtualDestructor":
        "none: every owner holds the object as the class it was made as",
    "ModemQc.TheModemStateIsClearedAndStaysSo": "none",
    "ModemQc.TheDisplayMakesNoDifference": "none",
    "ImageSelector.TheBuiltInTableIsNotLookedUpById": "a device without map entries gets VZW.bin, in Korea too",
    "ImageSelector.AMapEntryOf15CharactersIsCutTo9":
        "an archive with a long name is looked for under the short one, and nothing is deployed",
    "ImageSelector.ConstructorAndDestructorLogUnderOneName": "a trace shows the pair of lines twice",
    "ImageSelector.AnUnmappedRegistryIdIsNotRetriedWithTheFirmwareId":
        "a wrong ID in the registry hides the right one in firmware",
    "ImageSelector.AnIdBeyondAsciiIsLookedUpByOtherLetters": "only IDs of ASCII letters find their map entry",
    "ImageSelector.AMirroredIdIsToldTwice": "two equal lines, 175 and 141, for one write",
    "ImageDeployment.TheToastArchiveIsNamedWithTwoBackslashes": "the path in a trace looks odd",
    "ImageDeployment.AMissingTargetIsAskedToGiveUpItsReadOnlyBit": "none",
    "ImageDeployment.ASubFolderOfTheArchivesIsNeitherHiddenNorEntered": "a folder beside the archives stays visible",
    "ImageDeployment.AMissingToastArchiveDoesNotStopTheModem": "a missing toast archive shows only in a trace",
    "ImageDeployment.TheArchivesAreHiddenEvenWhenTheExtractionFails":
        "Explorer does not show the archives of a failed deployment",
    "ImageDeployment.ADeploymentThatNobodyRequestedLogsThatThereWasNoRequest":
        "a first deployment logs a failure although nothing failed",
    "ImageDeployment.ACorruptEntryDoesNotStopTheOthers":
        "one bad or empty file repeats the deployment at every start; files of two images can mix",
    "ImagePaths.TheFirstInstanceWithAPathDecides":
        "a second modem, or a wrong software path alone, starts no deployment",
    "ImagePaths.AFailureOfTheFirstValueDoesNotStopTheSecond": "one of the two paths may be new and the other old",
    "LogSessionTest.TheSessionRunsInMemoryWithTheGivenMinimumOfBuffers": "Windows assigns one; tools must use the name",
    "LogSessionTest.TheSessionOutlivesTheServicesProvider":
        "the session uses memory until it is stopped by hand or the tablet restarts",
    "LogSessionTest.ASessionThatRunsAlreadyIsLeftAsItIs": "a second start of the service enables no provider",
    "LogSessionTest.TheStartIsToldWithNoGuidAndTheBlocksSizeAsLogFile": "one strange character in a trace",
    "ModemQc.TellsThePartnerServiceThatDumpsMayBeTaken": "a 0 that was set by hand is overwritten at the next start",
    "ModemQc.StartsAndEndsWithoutAStopEvent": "the silent reset does not see a stop",
    "ModemQc.AsksTwiceWhetherItRunsOnTheFactoryLine": "the lines about the mode appear twice",
    "ModemRestart.NobodyWaitsForTheSilentReset":
        "the modem may be reset while the service stops; a refused reset shows only in a trace",
    "ModemQc.StopAndPreshutdownAreAlike": "none",
    "PackageVersions.ABlockOf4097BytesIsPassedOverInSilence": "without a version line the cause stays unknown",
    "RilHandler.ARadioThatIsNeverReachedIsTriedAHundredTimesAndPassedOverInSilence":
        "a stop without a radio takes 100 s and leaves no line about it",
    "RilHandler.ACommandThatFailsIsWaitedForAllTheSame": "a refused command delays the stop by 30 s",
    "RilHandler.AnyCompletionEndsTheWaitWhateverItAnswers": "an early completion ends the wait too soon",
    "SafiDriver.DebuggerGetsTheBytesOfTheTextsAsTheyAre": "a debugger shows these texts as unreadable characters",
    "SafiDriver.AsksForTheSizeTwiceAndThenReads": "none: the driver compares the numbers",
    "SafiDriver.APathThatDoesNotEndWithin512CharactersFails":
        "firmware variables cannot be read if the driver has such a path",
    "SafiDriver.OnlyTheFirst130CharactersOfTheKeyReachTheDriver": "a variable's name beyond 92 characters is cut",
    "SafiDriver.EveryRequestOpensTheDriverAndClosesIt": "a read costs three openings",
    "SafiDriver.AFailedRequestLeavesLastErrorOne": "the number in the log hides the cause",
    "SafiDriver.TwoDifferentSizesFail": "a variable that changes at that moment reads as missing",
    "SafiDriver.AWriteIsAlwaysTenBytes": "the variable is padded with zeros",
    "UefiHandler.AReadClosesTheToken": "none",
    "UefiHandler.AWriteRunsReadyTwice": "an \"Already performed\" line at each write",
    "UefiHandler.AWriteIsTried400TimesAtOnce": "a device that needs time fails all 400 attempts at once",
    "DeviceInterface.APathOf519CharactersIsUsedWhole": "none",
    "DeviceInterface.WithoutTheDeviceItGivesUpAfterFortyAttempts":
        "a Wi-Fi tablet shows START_PENDING for 20 s at each boot",
    "DeviceInterface.APathOnceFoundIsNeverLookedUpAgain": "a device that returns under another path is not found",
    "DeviceInterface.AFailedLookupStillOpensTheEmptyPath": "a line about a failed opening follows each failed lookup",
    "DeviceInterface.OpensForOverlappedWorkWithBareImpersonationBits": "none",
    "ModemCtrlDevice.TheHandleOutlivesTheObject": "the driver sees its handle closed only when the process ends",
    "UserSessionTest.TheUsersShellIsNotLookedFor": "none: each session has both",
    "FileHelpersTest.AFileThatIsThereAlreadyIsNotReplacedAndTheRestIsMoved":
        "such dumps stay in the driver's folder and are reported at every start",
    "FileHelpersTest.WithoutADestinationEveryFileStays": "one failed move in a trace for each file",
    "FileHelpersTest.AListingThatBreaksOffIsStillASuccess": "some dumps may stay behind until the next start",
    "FileHelpersTest.AWholeChainIsMadeOfAPathThatEndsInABackslash": "none: the service's own paths end in a name",
    "FileHelpersTest.APathWithoutABackslashIsCalledMadeAndIsNot": "none: the service's own paths are absolute",
    "FileHelpersTest.AFolderThatAppearsAtTheLastMomentIsAFailure":
        "one line in a trace; the dumps are moved all the same",
    "SilentResetTest.TheRequestNamesNoPlaceForReturnedBytes": "none: the request returns no bytes",
    "SilentResetTest.ARefusedResetIsNotTriedAgain": "the new image is loaded only after a restart",
    "SilentResetTest.AnImageStateThatCannotBeReadCountsAsTheEndOfSetup":
        "the modem may be reset during first-boot setup",
    "SilentResetTest.BehindSetupAStopDoesNotHoldTheResetBack": "the modem may restart during a shutdown",
    "SilentResetTest.WithABadEventItAsksTheRegistryWithoutPause": "one processor core is busy until setup ends",
    "SsrDumpTest.TheUserIsToldByTheToastProgram": "none: the program reads the first argument",
    "SsrDumpTest.TheFolderIsNamedByTheTimeInUtc": "the name differs from the user's clock by the time zone",
    "SsrDumpTest.WithNobodyLoggedOnItGivesUpAfterTenSeconds":
        "the user never learns of the crash; the partner starts ten seconds late",
    "SsrDumpTest.EveryFileBesidesADumpIsMovedToo":
        "other files of that folder are in the retail log; a notification may have no dump",
    "UserSessionTest.AnIdentifierInOtherLettersIsAnotherUser": "none: Windows writes both in the same form",
    "UserSessionTest.AFailedDuplicationEndsTheSearch": "the user is not notified although another process might serve",
    "UserSessionTest.AProcessWithoutASessionCountsAsOneOfSession0": "none: no user is logged on in session 0",
    "UserSessionTest.OnlyTheLeadingDigitsOfASessionsNameCount": "none: Windows uses numbers",
    "UserSessionTest.TheStartInformationIsEmpty": "the program opens on the default desktop",
    "UserSessionTest.TheServicesVariablesAreInherited":
        "variables of the system account are visible to the toast program",
    "ExtractionTest.AnEncryptedEntryFailsForWantOfAPassword": "an encrypted archive is never deployed",
    "ZipEntryReadingTest.TheStateStartsWithWhatTheHeadersSay": "none",
    "ZipStreamTest.AReadErrorFailsTheFieldAndIsNeverForgotten":
        "after one read error every truncated header of the archive fails",
    "ExtractionTest.AFolderThatCannotBeMadeShowsWhenTheFileIsCreated":
        "the status in a trace names the file, not the folder",
    "EntryFactsTest.OtherHostsAreReadOnlyWithoutTheOwnersWriteBit": "archives of some tools deploy read-only files",
    "EntryFactsTest.ADosTimeIsLocalTime": "file times of the other half of the year are off by an hour",
    "EntryFactsTest.ABlockOf256BytesThrowsTheWalkOff": "the file keeps its DOS time",
    "EntryName.ALeadingStepUpAndATrailingOneStay":
        "an archive can write above the target folder: only trusted archives may be deployed",
    "ExtractionTest.NamesAreUtf8WhateverTheFlagsSay": "names with old code pages come out wrong",
    "ExtractionTest.AnEntryThatCannotBeDescribedStillCreatesItsFile": "an empty file is left where the old one was",
    "ExtractionTest.AnExtractionLogsItsProgressInTheErrorZone":
        "lines that are not errors, also with the error zone alone",
    "ExtractionTest.AFailedExtractionHasAlreadyEmptiedTheFile": "a bad archive destroys the working firmware file",
    "ExtractionTest.TheLineBehindTheCreationComesAlsoWhenItFailed": "line 4193 proves nothing; 4195 does",
    "ExtractionTest.AFileThatFailsPartWayStaysAsFarAsItWasWritten": "a cut firmware file can be left on the tablet",
    "ExtractionTest.AStoredEntryWithAWrongCrcIsExtracted": "damaged stored data counts as deployed",
    "HangTest.AnEntryBehindABadCentralHeaderIsNeverReached":
        "the service hangs with one busy core and cannot be stopped",
    "ExtractionTest.ABadLastCentralHeaderIsStillDescribed": "a damaged entry may be extracted under a wrong name",
    "ExtractionTest.AnEntryThatCannotBeOpenedIsBadData": "status 0x05000000 for every cause",
    "ExtractionTest.AnEmptyFileIsCreatedWithoutTimesAndFails":
        "one empty file in an archive repeats the deployment at every start",
    "ExtractionTest.TheLastResultIsThatOfTheLatestOperation": "none",
    "ExtractionTest.AHandleOfAnotherKindIsLeftAlone": "none: the service makes one kind",
    "ZipReaderTest.ACommentOf1006BytesIsTheLongestThatIsFound": "an archive with a longer comment does not open",
    "ExtractionTest.WithoutAnEndRecordItsFieldsAreReadAllTheSame": "none",
    "ExtractionTest.TheEndRecordsSignatureIsNotLookedAtAgain":
        "an archive above 2 GiB can open with no entries and count as deployed",
    "HangTest.AnEndRecordThatClaimsTwoEntriesTooManyHangsAtTheSecondOne":
        "an end record that claims too many entries makes the service hang",
    "ZipReaderTest.ANameOf260BytesFillsTheBufferWithoutATerminator": "none: the caller's buffer is one byte longer",
    "ZipReaderTest.AnArchiveWhoseFirstCentralHeaderIsBadStillOpens": "the damage shows later, or as a hang",
    "ZipReaderTest.VersionTimeAndNameOfTheLocalHeaderMayDiffer": "none: the central header's name is used",
    "AllocationTest.AnInflaterThatCannotBeSetUpShowsAtTheFirstRead": "status 0x05000000 also without memory",
    "ZipEntryReadingTest.DeflatedDataThatEndsEarlyEndsTheEntryWithSuccess":
        "a file that is too short can count as deployed",
    "ZipEntryReadingTest.AnEntryOfLengthZeroNeverReportsItsEnd": "one empty file in an archive repeats the deployment at every start",
    "ZipStreamTest.ReadsZeroBehindTheEndOfTheData": "fields after the end of a truncated archive read as 0",
    "ExtractionTest.EveryOpeningLogsItsProgressInTheErrorZone": "two lines that are not errors for each archive",
    "ExtractionTest.AFailedSeekInTheFileIsNotNoticed":
        "after a failed seek stored entries get wrong bytes and count as deployed",
    "DiagnosticLogTest.TheDefaultMaskSetsABitThatNoZoneUses": "none",
    "DiagnosticLogTest.AMessageIsCutAt1023Characters": "very long paths are cut in a trace",
    "DiagnosticLogTest.MessagesOutsideTheRegistrationAreGone":
        "the first and last lines of the service are in no trace",
    "DiagnosticLogTest.AMessageSentWhileTheProviderIsDisabledIsDroppedOrSentWhole":
        "the first or last message of a trace session may be missing",
    "RegistryHelperTest.AMissingValueOfAQuietNameIsNotLogged": "none",
    "RegistryHelperTest.ReadingFromAMissingKeyMakesTheKey":
        "empty keys appear on the tablet; denied access leaves no line",
    "RegistryHelperTest.AKeyWithoutSubKeysIsAFailure": "a tablet without a modem driver logs a failure",
    "RegistryHelperTest.ASubKeyThatCannotBeReadIsSkipped": "a modem instance may be missed without a message",
    "RegistryHelperTest.AnyValueOfFourBytesReadsAsANumber": "a binary value of 4 bytes works as a number",
    "RegistryHelperTest.ATextThatFillsTheBufferLosesItsLastCharacter":
        "a text of exactly the buffer's length is cut by one",
    "RegistryHelperTest.EachDeletionLeavesOneKeyHandleOpen": "one handle for each deployment, until the process ends",
    "RegistryHelperTest.AFailedDeletionSaysDoesNotExistWhateverTheCause":
        "\"does not exist\" may mean that access was denied",
    "RegistryHelperTest.SubKeysOfAReadOnlyKeyCannotBeListed":
        "a key that is read-only for the service counts as missing",
    "SystemStateTest.AChangeBetweenTwoQueriesIsSeen": "two lines of one start may contradict each other",
    "SystemStateTest.WithoutAnImageStateEveryQueryIsFalse":
        "a generalized image in audit mode starts no factory session",
    "SystemStateTest.AFileThatIsOpenedExclusivelyElsewhereCountsAsAbsent":
        "factory logging is off while another program holds the library open",
    "SystemStateTest.AStateInLowerCaseIsADefaultSetupState": "a state in other letters keeps the silent reset waiting",
    "SystemStateTest.ADisabledCrashDumpIsNotLogged": "a trace without the line means \"off\", or a mask without 0x2",
}
