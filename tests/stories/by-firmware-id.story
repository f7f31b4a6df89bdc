# Firmware has no sales code, and the registry no modem image ID.
# The modem image ID in firmware
# names the archive.
tablet by-firmware-id
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
      0.000  message   CModemQC::CheckImageRegPath:124           Needs to be updated from \SystemRoot\System32\qcdsp1v2.mbn
      0.000  message   CImageSelector::UnzipBinary:247           Unzipping c:\Windows\ToastGenerator\\ToastResource_20180816.zip
      0.000  message   CKAVRILUEFIHandler::Ready:43              Already performed
      0.000  message   CKAVRILUEFIHandler::Read:81               ERROR ! Failed to read - name[SALES_CODE] guid[{9806d87d-b4fb-4d02-97d2-8597337abc83}], GetLastError=203
      0.000  message   CImageSelector::DetermineImageByCSC:53    Device CSC Not Exist
      0.000  message   SGetRegistrySZ:887                        RegQueryValueEx fail, ValueName = ModemImageID
      0.000  message   CKAVRILUEFIHandler::Ready:43              Already performed
      0.000  message   CImageSelector::GetUEFIModemID:164        UEFI Modem Image ID = KOR!!!
      0.000  message   CImageSelector::GetRegMapsImageID:123     Registry ModemImageID(KOR) ModemBinary(KOR.bin)
      0.000  message   CImageSelector::DetermineImageByModemID:84  DetermineModemBinary KOR.bin by ModemImageID KOR
      0.000  message   CImageSelector::HideModemFiles:193        c:\windows\system32\modem_core FILE_ATTRIBUTE_HIDDEN
      0.000  message   CImageSelector::HideModemFiles:207        .  <DIR>
      0.000  message   CImageSelector::HideModemFiles:207        ..  <DIR>
      0.000  message   CImageSelector::HideModemFiles:222        c:\windows\system32\modem_core\ATT.bin FILE_ATTRIBUTE_HIDDEN
      0.000  message   CImageSelector::HideModemFiles:222        c:\windows\system32\modem_core\KOR.bin FILE_ATTRIBUTE_HIDDEN
      0.000  message   CImageSelector::HideModemFiles:222        c:\windows\system32\modem_core\VZW.bin FILE_ATTRIBUTE_HIDDEN
      0.000  message   CImageSelector::UnzipBinary:247           Unzipping c:\windows\system32\modem_core\KOR.bin
      0.000  message   SRegistryDeleteValue:1043                 RegistryDeleteValue fail, the value(Distribute) does not exist
      0.000  message   CModemQC::UpdateImageRegPath:145          Update QC_AMSS_FW_IMAGE_REG_NAME = \SystemRoot\System32\qcdsp1v2850.mbn!!!
      0.000  message   CModemQC::UpdateImageRegPath:149          Update QC_AMSS_SW_IMAGE_REG_NAME = \SystemRoot\System32\qcdsp2850.mbn!!!
      0.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_COMPLETE
      0.000  message   IsUndeployMode:1641                       Not IMAGE_STATE_UNDEPLOYABLE! szImageState = IMAGE_STATE_COMPLETE
      0.000  message   IsFactoryLoggingMode:1701                 It is USER mode. fRet = false!!
      0.000  event     partner service is started
      0.000  message   CVantord::StartServiceOEM:119             Service start pending...
      0.000  message   CVantord::StartServiceOEM:91              Service started successfully.
      0.000  message   IsDefaultSetupState:1587                  Non Default Setup State! (IMAGE_STATE_COMPLETE)
      0.000  message   ExecuteSilentResetQCThread:4378           Start sending IOCTL_MODEM_RESET
      0.000  event     the modem is reset
      0.000  message   ExecuteSilentResetQCThread:4418           Successfully sent IOCTL_REQ_MODEM_RESET to AMSS driver
stop
      0.000  event     stop control sent
      0.000  message   CServiceBase::SetServiceStatus:101        Service SetServiceStatus, 141
      0.000  status    STOP_PENDING, check point 2, accepts stop, power event, preshutdown
      0.000  message   CVantord::OnStop:114                      VantorService OnStop
      0.000  event     radio layer connected at attempt 1
      0.000  message   CRILHandler::Init:33                      RIL_Initialize succeeded, hr = 0x00000000
      0.000  event     radio layer receives the command with value 1
      0.000  event     radio layer released
      0.001  event     note: no progress reported for longer than the wait hint of 0 ms while STOP_PENDING
      2.000  status    STOPPED
      2.000  event     the service's process ended with exit code 0
             end       the service stopped as it was told
             registry  [SYSTEM\CurrentControlSet\Control\Class\{4d36e97d-e325-11ce-bfc1-08002be10318}\0001]
             registry    "AmssFwImagePath" = "\SystemRoot\System32\qcdsp1v2850.mbn", was "\SystemRoot\System32\qcdsp1v2.mbn"
             registry    "AmssSwImagePath" = "\SystemRoot\System32\qcdsp2850.mbn", was "\SystemRoot\System32\qcdsp2.mbn"
             file      attributes             H     C:\Windows\System32\modem_core
             file      attributes             HA    C:\Windows\System32\modem_core\ATT.bin
             file      attributes             HA    C:\Windows\System32\modem_core\KOR.bin
             file      attributes             HA    C:\Windows\System32\modem_core\VZW.bin
             file      new            folder        C:\Windows\System32\modem_fw
             file      new               128  A     C:\Windows\System32\modem_fw\KOR.txt
             file      new               600  A     C:\Windows\System32\qcdsp1v2850.mbn
             file      new               200  RA    C:\Windows\System32\qcdsp2850.mbn
             file      new            folder        C:\Windows\ToastGenerator\Images
             file      new              6144  A     C:\Windows\ToastGenerator\Images\notice.png
             file      new            folder        C:\Windows\ToastGenerator\Strings
             file      new               700  A     C:\Windows\ToastGenerator\Strings\en-US.txt
             file      new               700  RA    C:\Windows\ToastGenerator\Strings\ko-KR.txt
show firmware
             firmware  ModemImageID = "KOR"
