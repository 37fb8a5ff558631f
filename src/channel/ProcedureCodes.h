#pragma once

namespace hvx::code {

// Procedure codes: each procedure stores its own on entry, and some store more at notable
// steps, so that an error report tells where it happened.
inline constexpr long kMain = 11000;
inline constexpr long kMainErrorManager = 11001;
inline constexpr long kMainStopSwitches = 11002;
inline constexpr long kMainSplashMinimum = 11003;
inline constexpr long kMainCoreCaption = 11004;
inline constexpr long kMainStartupComplete = 11005;
inline constexpr long kLoadSystemSettings = 11006;
inline constexpr long kLoginMonitor = 11007;
inline constexpr long kLoginMonitorStatement = 11008;
inline constexpr long kCheckMonitorLogin = 11009;
inline constexpr long kCheckMonitorLoginQuery = 11010;
inline constexpr long kCheckDatabaseVersion = 11011;
inline constexpr long kLogoutMonitor = 11012;
inline constexpr long kLogoutMonitorStatement = 11013;
inline constexpr long kConnectDatabase = 11015;
inline constexpr long kConnectDatabaseFolder = 11016;
inline constexpr long kGetLocalFolderPath = 11017;
inline constexpr long kFetch = 11018;
inline constexpr long kFetchQuery = 11019;
inline constexpr long kInsertItem = 11020;
inline constexpr long kInsertItemStatement = 11021;
inline constexpr long kUpdateItem = 11022;
inline constexpr long kUpdateItemStatement = 11023;
inline constexpr long kDeleteItem = 11024;
inline constexpr long kDeleteItemStatement = 11025;
inline constexpr long kCheckExists = 11026;
inline constexpr long kCheckExistsQuery = 11027;
inline constexpr long kFind = 11028;
inline constexpr long kFindQuery = 11029;
inline constexpr long kCentreForm = 11032;
inline constexpr long kMinutesToHHMM = 11043;
inline constexpr long kWriteTrace = 11048;
inline constexpr long kDeleteRegValue = 11049;
inline constexpr long kDeleteRegSection = 11050;
inline constexpr long kGetRegValue = 11051;
inline constexpr long kSaveRegValue = 11053;
inline constexpr long kCmdCommandClick = 11059;
inline constexpr long kStartSuspendResume = 11060;
inline constexpr long kCmdExitClick = 11058;
inline constexpr long kFormLoad = 11062;
inline constexpr long kFormQueryUnload = 11063;
inline constexpr long kFormUnload = 11064;
inline constexpr long kMnuExitClick = 11069;
inline constexpr long kMnuRunNowClick = 11070;
inline constexpr long kMnuSuspendClick = 11072;
inline constexpr long kTimer1Timer = 11076;
inline constexpr long kApplyScheduleSuspending = 11077;
inline constexpr long kApplyScheduleResuming = 11078;
inline constexpr long kTimerBeforeProcessStart = 11081;
inline constexpr long kTimerAfterProcessStart = 11082;
inline constexpr long kIsOutsideScheduledHours = 11083;
inline constexpr long kHandleCoreAbort = 11111;
inline constexpr long kApplySchedule = 11112;
inline constexpr long kShowStatus = 11113;
inline constexpr long kRefreshSystemSettings = 11114;
inline constexpr long kShowRunState = 11115;
inline constexpr long kIsCoreRunning = 11116;
inline constexpr long kShouldStartCore = 11117;
inline constexpr long kConnectDatabaseCheckDbIni = 11099;
inline constexpr long kConnectDatabaseWizard = 11100;
inline constexpr long kConnectDatabaseCopyDbIni = 11101;
inline constexpr long kConnectDatabaseAfterWizard = 11102;
inline constexpr long kConnectDatabaseConnect = 11103;
inline constexpr long kConnectDatabaseJetCheck = 11104;
inline constexpr long kRunConnectionWizard = 11105;
inline constexpr long kRunConnectionWizardHold = 11106;
inline constexpr long kRunConnectionWizardErrorManager = 11107;
inline constexpr long kRunConnectionWizardShow = 11108;
inline constexpr long kBuildDatabaseDescription = 11126;
inline constexpr long kCheckOldUnsentMessages = 11118;
inline constexpr long kCheckOldUnsentMessagesQuery = 11119;
inline constexpr long kCheckOldUnsentMessagesResult = 11120;
inline constexpr long kCheckOldUnsentMessagesCount = 11121;
inline constexpr long kCheckOldUnsentMessagesDialog = 11122;
inline constexpr long kCheckOldUnsentMessagesDeleteAll = 11123;
inline constexpr long kCheckOldUnsentMessagesDeleteOlder = 11124;
inline constexpr long kChkSendEmailClick = 11125;
inline constexpr long kFormResize = 11127;

}  // namespace hvx::code
