# A tablet without a modem: the service looks for its device for 20 seconds,
# then stops by itself. That is no failure: the exit code is 0,
# so that the service manager does not start it again.
tablet wifi-only
boot
      0.000  event     service "Vantord" is started
      0.000  status    START_PENDING, check point 1
      0.000  message   CVantord::OnStart:62                      VantorService OnStart [BUILD DATE, BUILD TIME]
      0.000  message   DeviceInterfaceFunc::DeviceInterfaceFunc:10  for InterfaceGUID {D49F5C0E-E540-4DBE-BF78-97ED9BD987A4}
      0.000  message   CModemTemplate::CModemTemplate:9          CModemTemplate constructor successfully.
      0.000  message   CModemQC::CModemQC:9                      CModemQC constructor successfully.
      0.000  message   GetFirstInterface:1973                    DeviceName :
      0.000  message   DeviceInterfaceFunc::OpenDeviceHandle:76  Failed to open DeviceInterfaceFunc, error - 3
      0.001  event     note: no progress reported for longer than the wait hint of 0 ms while START_PENDING
      0.500  message   GetFirstInterface:1973                    DeviceName :
      0.500  message   DeviceInterfaceFunc::OpenDeviceHandle:76  Failed to open DeviceInterfaceFunc, error - 3
                       ... and 76 more like these, the last at 19.500 s
     20.000  message   DeviceInterfaceFunc::Open:36              DeviceInterfaceFunc::Open failed
     20.000  message   CModemTemplate::ExistModemCtrl:118        m_pModemCtrl Open Fail
     20.000  message   CVantord::OnStart:69                      VantorService do not start for WIFI device
     20.000  status    STOPPED
     20.000  event     the service's process ended with exit code 0
             end       the service stopped by itself, without an error
             changes   none
