# What else a running service hears of: the display, devices, controls.
# Each is logged; unknown controls and unknown power events
# are ignored without a word.
tablet already-deployed
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
      0.000  message   CVantord::StartServiceOEM:91              Service started successfully.
display on
      0.000  event     display on sent
      0.000  message   CVantord::OnPowerEvent:31                 SERVICE_CONTROL_POWEREVENT Type = PBT_POWERSETTINGCHANGE
      0.000  message   CVantord::OnPowerEvent:54                 Power Data=0x1
display dimmed
      0.000  event     display dimmed sent
      0.000  message   CVantord::OnPowerEvent:31                 SERVICE_CONTROL_POWEREVENT Type = PBT_POWERSETTINGCHANGE
      0.000  message   CVantord::OnPowerEvent:54                 Power Data=0x2
display off
      0.000  event     display off sent
      0.000  message   CVantord::OnPowerEvent:31                 SERVICE_CONTROL_POWEREVENT Type = PBT_POWERSETTINGCHANGE
      0.000  message   CVantord::OnPowerEvent:54                 Power Data=0x0
power 10
      0.000  event     power event 0xa sent
arrival \\?\USB#VID_04E8&PID_6860#1#{a5dcbf10-6530-11d2-901f-00c04fb951ed}
      0.000  event     device \\?\USB#VID_04E8&PID_6860#1#{a5dcbf10-6530-11d2-901f-00c04fb951ed} arrives
      0.000  message   CVantord::OnDeviceEvent:66                DBT_DEVICEARRIVAL, (\\?\USB#VID_04E8&PID_6860#1#{a5dcbf10-6530-11d2-901f-00c04fb951ed})
removal \\?\USB#VID_04E8&PID_6860#1#{a5dcbf10-6530-11d2-901f-00c04fb951ed}
      0.000  event     device \\?\USB#VID_04E8&PID_6860#1#{a5dcbf10-6530-11d2-901f-00c04fb951ed} is removed
      0.000  message   CVantord::OnDeviceEvent:70                DBT_DEVICEREMOVECOMPLETE, (\\?\USB#VID_04E8&PID_6860#1#{a5dcbf10-6530-11d2-901f-00c04fb951ed})
control 130
      0.000  event     control 130 sent
      0.000  message   CVantord::OnDefaultControl:81             SERVICE_CONTROL_MODEM_ON
control 133
      0.000  event     control 133 sent
      0.000  message   CVantord::OnDefaultControl:93             SERVICE_CONTROL_RIL_ABORT
control 134
      0.000  event     control 134 sent
interrogate
      0.000  event     interrogate control sent
setting {5D3E9A59-E9D5-4B00-A6BD-FF34FF516548}
      0.000  event     power setting {5D3E9A59-E9D5-4B00-A6BD-FF34FF516548}: no registration receives it
power 32787
      0.000  event     power event 0x8013 sent
      0.000  message   CVantord::OnPowerEvent:31                 SERVICE_CONTROL_POWEREVENT Type = PBT_POWERSETTINGCHANGE
