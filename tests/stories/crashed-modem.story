# The modem has crashed and its driver has left dumps. Where the system keeps dumps, the start
# that finds them moves every file into a folder named by the time in UTC and tells the user
# who is at the screen. The first three starts of the toast program fail: a second between each.
tablet crashed-modem
set toast {"failures": 3}
boot
      0.000  event     service "Vantord" is started
      0.000  status    START_PENDING, check point 1
      0.000  message   CVantord::OnStart:62                      VantorService OnStart [BUILD DATE, BUILD TIME]
      0.000  message   DeviceInterfaceFunc::DeviceInterfaceFunc:10  for InterfaceGUID {D49F5C0E-E540-4DBE-BF78-97ED9BD987A4}
      0.000  message   CModemTemplate::CModemTemplate:9          CModemTemplate constructor successfully.
      0.000  message   CModemQC::CModemQC:9                      CModemQC constructor successfully.
      0.000  message   GetFirstInterface:1973                    DeviceName : \\?\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}
      0.000  message   DeviceInterfaceFunc::OpenDeviceHandle:82  Opened DeviceInterfaceFunc successfully.
      0.000  message   CModemTemplate::ExistModemCtrl:121        m_pModemCtrl Open Success
      0.000  message   CServiceBase::RegisterDeviceEvent:67      Success to CM_Register_Notification - InterfaceGUID {A5DCBF10-6530-11D2-901F-00C04FB951ED}
      0.000  message   CServiceBase::RegisterPowerEvent:80       Success to PowerSettingRegisterNotification - InterfaceGUID {6FE69556-704A-47A0-8F24-C28D936FDA47}
      0.000  message   CServiceBase::SetServiceStatus:101        Service SetServiceStatus, 141
      0.000  status    RUNNING, accepts stop, power event, preshutdown
      0.000  message   CVantord::ServiceWorkerThread:104         ServiceWorkerThread to run
      0.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_COMPLETE
      0.000  message   IsUndeployMode:1641                       Not IMAGE_STATE_UNDEPLOYABLE! szImageState = IMAGE_STATE_COMPLETE
      0.000  message   IsFactoryLoggingMode:1701                 It is USER mode. fRet = false!!
      0.000  message   CModemTemplate::ReadMobileBroadBandPackageVer:18  ReadMobileBroadBandPackageVer = 1.0.25.0
      0.000  message   CModemTemplate::ReadMobileBroadBandPackageVer:24  GetVersionInfo - VANTORD_EXE = 1.0.25.0
      0.000  message   CModemTemplate::ReadMobileBroadBandPackageVer:29  GetVersionInfo - PELTSERVICE_EXE = 1.0.12.3
      0.000  message   SGetRegistryDWORD:820                     RegQueryValueEx fail, ValueName = Distribute
      0.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(1) = 0000
      0.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(2) = 0001
      0.000  message   SGetRegistrySZ:887                        RegQueryValueEx fail, ValueName = AmssFwImagePath
      0.000  message   CModemQC::CheckImageRegPath:130           Already updated to \SystemRoot\System32\qcdsp1v2850.mbn
      0.000  message   SGetRegistryDWORD:820                     RegQueryValueEx fail, ValueName = PELT_KNOW_TO_GO_SSR
      0.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_COMPLETE
      0.000  message   IsUndeployMode:1641                       Not IMAGE_STATE_UNDEPLOYABLE! szImageState = IMAGE_STATE_COMPLETE
      0.000  message   IsFactoryLoggingMode:1701                 It is USER mode. fRet = false!!
      0.000  message   IsDiagnosisDumpEnabled:251                dwDiagnosisDumpEnabled set.
      0.000  message   CheckSSRDumpFile:4444                     SSR Dump File Found (modem.dmp)
      0.000  message   CreateDirectoryFull:4302                  Creating Dir [c:\users\public\documents\RetailLog\CPCrash_20260302_080000]
      0.000  message   CheckSSRDumpFile:4454                     Moving SSR dump files
      0.000  message   CopyMoveFiles:1841                        lpSrcPath=c:\Windows\System32\DriverState\Services\QCCDI\Data\ssr_dumps, lpFilter=*.*, lpDestPath=c:\users\public\documents\RetailLog\CPCrash_20260302_080000
      0.000  message   CopyMoveFiles:1842                        wcsSrcPath=c:\Windows\System32\DriverState\Services\QCCDI\Data\ssr_dumps\*.*
      0.000  message   CopyMoveFiles:1874                        Moving 'c:\Windows\System32\DriverState\Services\QCCDI\Data\ssr_dumps\modem.dmp' to 'c:\users\public\documents\RetailLog\CPCrash_20260302_080000\modem.dmp'
      0.000  message   CopyMoveFiles:1874                        Moving 'c:\Windows\System32\DriverState\Services\QCCDI\Data\ssr_dumps\reason.txt' to 'c:\users\public\documents\RetailLog\CPCrash_20260302_080000\reason.txt'
      0.000  message   GetActiveSession:3982                     pSelectedUserSID (S-1-5-21-2891047133-1204871593-3380512846-1001)
      0.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(1) = 1
      0.000  message   GetActiveSession:3989                     session Software\Microsoft\Windows\CurrentVersion\Authentication\LogonUI\SessionData\1
      0.000  message   GetActiveSession:4018                     vSession Size (1)
      0.000  message   FindExplorerProcessNameAndID:4057         winlogon.exe  (PID: 36)
      0.000  message   GetActiveUserToken:4094                   Process id 36 in Session id (1)
      0.000  message   GetActiveUserToken:4097                   Active session 1
      0.000  message   GetActiveUserToken:4101                   Found Same session 1
      0.000  message   GetActiveUserToken:4119                   DuplicateTokenEx Success
      0.000  message   RunProcessAsUser:4259                     CreateProcessAsUser Error(5)
      0.000  message   CheckSSRDumpFile:4461                     Failed to launch Toast for CPCrash
      1.000  message   GetActiveSession:3982                     pSelectedUserSID (S-1-5-21-2891047133-1204871593-3380512846-1001)
      1.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(1) = 1
      1.000  message   GetActiveSession:3989                     session Software\Microsoft\Windows\CurrentVersion\Authentication\LogonUI\SessionData\1
      1.000  message   GetActiveSession:4018                     vSession Size (1)
      1.000  message   FindExplorerProcessNameAndID:4057         winlogon.exe  (PID: 36)
      1.000  message   GetActiveUserToken:4094                   Process id 36 in Session id (1)
      1.000  message   GetActiveUserToken:4097                   Active session 1
      1.000  message   GetActiveUserToken:4101                   Found Same session 1
      1.000  message   GetActiveUserToken:4119                   DuplicateTokenEx Success
      1.000  message   RunProcessAsUser:4259                     CreateProcessAsUser Error(5)
      1.000  message   CheckSSRDumpFile:4461                     Failed to launch Toast for CPCrash
      2.000  message   GetActiveSession:3982                     pSelectedUserSID (S-1-5-21-2891047133-1204871593-3380512846-1001)
      2.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(1) = 1
      2.000  message   GetActiveSession:3989                     session Software\Microsoft\Windows\CurrentVersion\Authentication\LogonUI\SessionData\1
      2.000  message   GetActiveSession:4018                     vSession Size (1)
      2.000  message   FindExplorerProcessNameAndID:4057         winlogon.exe  (PID: 36)
      2.000  message   GetActiveUserToken:4094                   Process id 36 in Session id (1)
      2.000  message   GetActiveUserToken:4097                   Active session 1
      2.000  message   GetActiveUserToken:4101                   Found Same session 1
      2.000  message   GetActiveUserToken:4119                   DuplicateTokenEx Success
      2.000  message   RunProcessAsUser:4259                     CreateProcessAsUser Error(5)
      2.000  message   CheckSSRDumpFile:4461                     Failed to launch Toast for CPCrash
      3.000  message   GetActiveSession:3982                     pSelectedUserSID (S-1-5-21-2891047133-1204871593-3380512846-1001)
      3.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(1) = 1
      3.000  message   GetActiveSession:3989                     session Software\Microsoft\Windows\CurrentVersion\Authentication\LogonUI\SessionData\1
      3.000  message   GetActiveSession:4018                     vSession Size (1)
      3.000  message   FindExplorerProcessNameAndID:4057         winlogon.exe  (PID: 36)
      3.000  message   GetActiveUserToken:4094                   Process id 36 in Session id (1)
      3.000  message   GetActiveUserToken:4097                   Active session 1
      3.000  message   GetActiveUserToken:4101                   Found Same session 1
      3.000  message   GetActiveUserToken:4119                   DuplicateTokenEx Success
      3.000  event     ToastGenerator.exe CPCrash started in session 1, of kim
      3.000  message   RunProcessAsUser:4253                     Success to CreateProcessAsUser Application
      3.000  message   CheckSSRDumpFile:4466                     Success to launch Toast for CPCrash
      3.000  event     partner service is started
      3.000  message   CVantord::StartServiceOEM:119             Service start pending...
      3.000  message   CVantord::StartServiceOEM:91              Service started successfully.
stop
      3.000  event     stop control sent
      3.000  message   CServiceBase::SetServiceStatus:101        Service SetServiceStatus, 141
      3.000  status    STOP_PENDING, check point 2, accepts stop, power event, preshutdown
      3.000  message   CVantord::OnStop:114                      VantorService OnStop
      3.000  event     radio layer connected at attempt 1
      3.000  message   CRILHandler::Init:33                      RIL_Initialize succeeded, hr = 0x00000000
      3.000  event     radio layer receives the command with value 1
      3.000  event     radio layer released
      3.001  event     note: no progress reported for longer than the wait hint of 0 ms while STOP_PENDING
      5.000  status    STOPPED
      5.000  event     the service's process ended with exit code 0
             end       the service stopped as it was told
             registry  [SYSTEM\CurrentControlSet\Services\Vantord\Parameters]
             registry    "PELT_KNOW_TO_GO_SSR" = dword:00000001 is new
             file      new            folder        C:\Users\Public\Documents\RetailLog
             file      new            folder        C:\Users\Public\Documents\RetailLog\CPCrash_20260302_080000
             file      moved                  A     C:\Users\Public\Documents\RetailLog\CPCrash_20260302_080000\modem.dmp, was C:\Windows\System32\DriverState\Services\QCCDI\Data\ssr_dumps\modem.dmp
             file      moved                  A     C:\Users\Public\Documents\RetailLog\CPCrash_20260302_080000\reason.txt, was C:\Windows\System32\DriverState\Services\QCCDI\Data\ssr_dumps\reason.txt
