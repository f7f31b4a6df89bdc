# First-boot setup with the library that marks a factory: as in audit mode
# a trace session is opened and the image ID written to firmware.
# The modem is not reset while setup lasts.
tablet oobe-factory
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
      0.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_UNDEPLOYABLE
      0.000  message   IsUndeployMode:1636                       IMAGE_STATE_UNDEPLOYABLE! OOBE MODE!!!
      0.000  message   CheckFileExist:1724                       The C:\MfgDiag\Dlls\RILRouter.dll is exist!!!
      0.000  message   IsFactoryLoggingMode:1690                 RILRouter is exist. fRet = true!!
      0.000  message   Debug::StartLogSession:62                 Session Name: KAVRIL10
      0.000  event     trace session KAVRIL10 started: buffers of 1024 KB, 64 at least, mode 0x90000400
      0.000  message   Debug::StartLogSession:92                 Session GUID: , Session name: KAVRIL10, Log file: , min buffers: 64, max buffers: 84
      0.000  event     trace session KAVRIL10 enables {75BD61FB-874E-4D96-9D12-F270EC0D4DE5}: level 5, keywords 0xffff
      0.000  event     trace session KAVRIL10 enables {EA19F0BD-C199-479F-B057-066043D31DC0}: level 5, keywords 0xffff
      0.000  event     trace session KAVRIL10 enables {2170F42F-27B0-4B8B-AE84-949191000F66}: level 5, keywords 0xffff
      0.000  event     trace session KAVRIL10 enables {1057AC89-C204-4F1A-9B91-A062748C341A}: level 5, keywords 0xffff
      0.000  event     trace session KAVRIL10 enables {61C36369-D18E-4A5E-BAC4-BE1668A38BEE}: level 5, keywords 0xffff
      0.000  event     trace session KAVRIL10 enables {30AD837B-B14D-4A80-AB1B-DF53173B0996}: level 5, keywords 0xffff
      0.000  event     trace session KAVRIL10 enables {A3BE41DF-D141-4ECD-8B8A-548195469053}: level 5, keywords 0xffff
      0.000  event     trace session KAVRIL10 enables {36797C31-A122-43DB-B296-36AB887335C3}: level 5, keywords 0xffff
      0.000  event     trace session KAVRIL10 enables {8601DCB7-CA1A-48B7-91B4-E113B7D2A655}: level 5, keywords 0xffff
      0.000  event     trace session KAVRIL10 enables {3FA5FE7E-604B-4CD3-8588-9D0460D99620}: level 5, keywords 0xffff
      0.000  event     trace session KAVRIL10 enables {9CBA380D-42BA-45DB-94F0-AC310885CE4E}: level 5, keywords 0xffff
      0.000  event     trace session KAVRIL10 enables {5AB48ED9-AAFE-40A2-84CF-DBD60690E80D}: level 5, keywords 0xffff
      0.000  message   CModemTemplate::ReadMobileBroadBandPackageVer:18  ReadMobileBroadBandPackageVer = 1.0.25.0
      0.000  message   CModemTemplate::ReadMobileBroadBandPackageVer:24  GetVersionInfo - VANTORD_EXE = 1.0.25.0
      0.000  message   CModemTemplate::ReadMobileBroadBandPackageVer:29  GetVersionInfo - PELTSERVICE_EXE = 1.0.12.3
      0.000  message   SGetRegistryDWORD:820                     RegQueryValueEx fail, ValueName = Distribute
      0.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(1) = 0000
      0.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(2) = 0001
      0.000  message   SGetRegistrySZ:887                        RegQueryValueEx fail, ValueName = AmssFwImagePath
      0.000  message   CModemQC::CheckImageRegPath:124           Needs to be updated from \SystemRoot\System32\qcdsp1v2.mbn
      0.000  message   CImageSelector::UnzipBinary:247           Unzipping c:\Windows\ToastGenerator\\ToastResource_20180816.zip
      0.000  message   CKAVRILUEFIHandler::Ready:43              Already performed
      0.000  message   GetUEFISalesCode:235                      UEFI Sales_Code = VZW!!!
      0.000  message   CImageSelector::GetRegMapsCSC:96          Registry CSC(VZW) ModemBinary(VZW.bin)
      0.000  message   CImageSelector::DetermineImageByCSC:62    DetermineModemBinary VZW.bin by CSC VZW
      0.000  message   CImageSelector::HideModemFiles:193        c:\windows\system32\modem_core FILE_ATTRIBUTE_HIDDEN
      0.000  message   CImageSelector::HideModemFiles:207        .  <DIR>
      0.000  message   CImageSelector::HideModemFiles:207        ..  <DIR>
      0.000  message   CImageSelector::HideModemFiles:222        c:\windows\system32\modem_core\ATT.bin FILE_ATTRIBUTE_HIDDEN
      0.000  message   CImageSelector::HideModemFiles:222        c:\windows\system32\modem_core\KOR.bin FILE_ATTRIBUTE_HIDDEN
      0.000  message   CImageSelector::HideModemFiles:222        c:\windows\system32\modem_core\VZW.bin FILE_ATTRIBUTE_HIDDEN
      0.000  message   CImageSelector::UnzipBinary:247           Unzipping c:\windows\system32\modem_core\VZW.bin
      0.000  message   SRegistryDeleteValue:1043                 RegistryDeleteValue fail, the value(Distribute) does not exist
      0.000  message   CModemQC::UpdateImageRegPath:145          Update QC_AMSS_FW_IMAGE_REG_NAME = \SystemRoot\System32\qcdsp1v2850.mbn!!!
      0.000  message   CModemQC::UpdateImageRegPath:149          Update QC_AMSS_SW_IMAGE_REG_NAME = \SystemRoot\System32\qcdsp2850.mbn!!!
      0.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_UNDEPLOYABLE
      0.000  message   IsUndeployMode:1636                       IMAGE_STATE_UNDEPLOYABLE! OOBE MODE!!!
      0.000  message   CheckFileExist:1724                       The C:\MfgDiag\Dlls\RILRouter.dll is exist!!!
      0.000  message   IsFactoryLoggingMode:1690                 RILRouter is exist. fRet = true!!
      0.000  message   CImageSelector::GetRegModemID:109         Registry Modem Image ID = VZW!!!
      0.000  message   CKAVRILUEFIHandler::Ready:43              Already performed
      0.000  message   CImageSelector::UpdateUEFIModemID:175     Update UEFI Modem Image ID = VZW!!!
      0.000  message   CImageSelector::UpdateUEFIModemIDinAudit:141  Update UEFI Modem Image ID = VZW!!!
      0.000  event     partner service is started
      0.000  message   CVantord::StartServiceOEM:119             Service start pending...
      0.000  message   CVantord::StartServiceOEM:91              Service started successfully.
      0.000  message   IsDefaultSetupState:1592                  Default Setup State! (IMAGE_STATE_UNDEPLOYABLE)
      5.000  message   ExecuteSilentResetQCThread:4374           WAIT_TIMEOUT for waiting OOBE mode out
                       ... and 1437 more like these, the last at 3595.000 s
stop
   3600.000  event     stop control sent
   3600.000  message   CServiceBase::SetServiceStatus:101        Service SetServiceStatus, 141
   3600.000  status    STOP_PENDING, check point 2, accepts stop, power event, preshutdown
   3600.000  message   CVantord::OnStop:114                      VantorService OnStop
   3600.000  event     radio layer connected at attempt 1
   3600.000  message   CRILHandler::Init:33                      RIL_Initialize succeeded, hr = 0x00000000
   3600.000  event     radio layer receives the command with value 1
   3600.000  message   ExecuteSilentResetQCThread:4374           WAIT_TIMEOUT for waiting OOBE mode out
   3600.000  message   IsDefaultSetupState:1592                  Default Setup State! (IMAGE_STATE_UNDEPLOYABLE)
   3600.000  event     radio layer released
   3600.000  message   ExecuteSilentResetQCThread:4370           Thread Close
   3600.001  event     note: no progress reported for longer than the wait hint of 0 ms while STOP_PENDING
   3602.000  status    STOPPED
   3602.000  event     the service's process ended with exit code 0
             end       the service stopped as it was told
             registry  [SYSTEM\CurrentControlSet\Control\Class\{4d36e97d-e325-11ce-bfc1-08002be10318}\0001]
             registry    "AmssFwImagePath" = "\SystemRoot\System32\qcdsp1v2850.mbn", was "\SystemRoot\System32\qcdsp1v2.mbn"
             registry    "AmssSwImagePath" = "\SystemRoot\System32\qcdsp2850.mbn", was "\SystemRoot\System32\qcdsp2.mbn"
             firmware  ModemImageID-{B61EB57B-80E6-491C-AFCA-45FF77702391} = "VZW" is new
             file      attributes             H     C:\Windows\System32\modem_core
             file      attributes             HA    C:\Windows\System32\modem_core\ATT.bin
             file      attributes             HA    C:\Windows\System32\modem_core\KOR.bin
             file      attributes             HA    C:\Windows\System32\modem_core\VZW.bin
             file      new            folder        C:\Windows\System32\modem_fw
             file      new            folder        C:\Windows\System32\modem_fw\config
             file      new               192  A     C:\Windows\System32\modem_fw\config\carrier00.mbn
             file      new               192  RA    C:\Windows\System32\modem_fw\config\carrier01.mbn
             file      new              4096  A     C:\Windows\System32\modem_fw\partition.bin
             file      new                96  RA    C:\Windows\System32\modem_fw\release.txt
             file      new             45056  A     C:\Windows\System32\qcdsp1v2850.mbn
             file      new             14336  RA    C:\Windows\System32\qcdsp2850.mbn
             file      new            folder        C:\Windows\ToastGenerator\Images
             file      new              6144  A     C:\Windows\ToastGenerator\Images\notice.png
             file      new            folder        C:\Windows\ToastGenerator\Strings
             file      new               700  A     C:\Windows\ToastGenerator\Strings\en-US.txt
             file      new               700  RA    C:\Windows\ToastGenerator\Strings\ko-KR.txt
show firmware
             firmware  ModemImageID = "VZW\x00\x00\x00\x00\x00\x00\x00"
             firmware  SALES_CODE = "VZW"
