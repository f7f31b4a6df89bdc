# A stop arrives while the start-up still waits for the partner service.
# The stop waits for the start-up, looking every two seconds,
# and reports no progress all the while.
tablet already-deployed
set partner.starting {"duration_ms": 15000, "wait_hint_ms": 100000, "ends_in": "running"}
set timeline [{"at_ms": 3000, "event": "stop"}]
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
      0.000  event     partner service is started
      0.000  message   CVantord::StartServiceOEM:119             Service start pending...
      3.000  event     stop control sent
      3.000  message   CServiceBase::SetServiceStatus:101        Service SetServiceStatus, 141
      3.000  status    STOP_PENDING, check point 2, accepts stop, power event, preshutdown
      3.000  message   CVantord::OnStop:114                      VantorService OnStop
      3.000  event     radio layer connected at attempt 1
      3.000  message   CRILHandler::Init:33                      RIL_Initialize succeeded, hr = 0x00000000
      3.000  event     radio layer receives the command with value 1
      3.000  event     radio layer released
      3.001  event     note: no progress reported for longer than the wait hint of 0 ms while STOP_PENDING
     21.000  message   CVantord::StartServiceOEM:91              Service started successfully.
     21.000  status    STOPPED
     21.000  event     the service's process ended with exit code 0
             end       the service stopped as it was told
             registry  [SYSTEM\CurrentControlSet\Services\Vantord\Parameters]
             registry    "PELT_KNOW_TO_GO_SSR" = dword:00000001 is new
