# A process that dies four times in a day: its worker's wait fails in each of four lives.
# The service manager restarts it a second after each death, the fourth time as the third;
# then it stays. Each life begins with check point 1 again.
tablet already-deployed
registry [HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord\Parameters] "ulZoneMask"=dword:00000000
fault WaitForSingleObject@1-4:ERROR_INVALID_HANDLE
boot
      0.000  event     service "Vantord" is started
      0.000  status    START_PENDING, check point 1
      0.000  message   GetFirstInterface:1973                    DeviceName : \\?\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}
      0.000  status    RUNNING, accepts stop, power event, preshutdown
      0.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_COMPLETE
      0.000  message   IsUndeployMode:1641                       Not IMAGE_STATE_UNDEPLOYABLE! szImageState = IMAGE_STATE_COMPLETE
      0.000  message   IsFactoryLoggingMode:1701                 It is USER mode. fRet = false!!
      0.000  message   SGetRegistryDWORD:820                     RegQueryValueEx fail, ValueName = Distribute
      0.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(1) = 0000
      0.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(2) = 0001
      0.000  message   SGetRegistrySZ:887                        RegQueryValueEx fail, ValueName = AmssFwImagePath
      0.000  message   SGetRegistryDWORD:820                     RegQueryValueEx fail, ValueName = PELT_KNOW_TO_GO_SSR
      0.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_COMPLETE
      0.000  message   IsUndeployMode:1641                       Not IMAGE_STATE_UNDEPLOYABLE! szImageState = IMAGE_STATE_COMPLETE
      0.000  message   IsFactoryLoggingMode:1701                 It is USER mode. fRet = false!!
      0.000  event     partner service is started
      0.000  event     fault: WaitForSingleObject number 1 fails with ERROR_INVALID_HANDLE (6)
      0.000  event     the service's process died: thread "worker" was left by an exception with Windows error code 6
      0.000  event     failure 1 of the service: it is restarted after 1000 ms
      1.000  event     service "Vantord" is started
      1.000  status    START_PENDING, check point 1
      1.000  message   GetFirstInterface:1973                    DeviceName : \\?\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}
      1.000  status    RUNNING, accepts stop, power event, preshutdown
      1.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_COMPLETE
      1.000  message   IsUndeployMode:1641                       Not IMAGE_STATE_UNDEPLOYABLE! szImageState = IMAGE_STATE_COMPLETE
      1.000  message   IsFactoryLoggingMode:1701                 It is USER mode. fRet = false!!
      1.000  message   SGetRegistryDWORD:820                     RegQueryValueEx fail, ValueName = Distribute
      1.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(1) = 0000
      1.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(2) = 0001
      1.000  message   SGetRegistrySZ:887                        RegQueryValueEx fail, ValueName = AmssFwImagePath
      1.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_COMPLETE
      1.000  message   IsUndeployMode:1641                       Not IMAGE_STATE_UNDEPLOYABLE! szImageState = IMAGE_STATE_COMPLETE
      1.000  message   IsFactoryLoggingMode:1701                 It is USER mode. fRet = false!!
      1.000  event     the service's process died: thread "worker" was left by an exception with Windows error code 6
      1.000  event     failure 2 of the service: it is restarted after 1000 ms
      2.000  event     service "Vantord" is started
      2.000  status    START_PENDING, check point 1
      2.000  message   GetFirstInterface:1973                    DeviceName : \\?\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}
      2.000  status    RUNNING, accepts stop, power event, preshutdown
      2.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_COMPLETE
      2.000  message   IsUndeployMode:1641                       Not IMAGE_STATE_UNDEPLOYABLE! szImageState = IMAGE_STATE_COMPLETE
      2.000  message   IsFactoryLoggingMode:1701                 It is USER mode. fRet = false!!
      2.000  message   SGetRegistryDWORD:820                     RegQueryValueEx fail, ValueName = Distribute
      2.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(1) = 0000
      2.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(2) = 0001
      2.000  message   SGetRegistrySZ:887                        RegQueryValueEx fail, ValueName = AmssFwImagePath
      2.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_COMPLETE
      2.000  message   IsUndeployMode:1641                       Not IMAGE_STATE_UNDEPLOYABLE! szImageState = IMAGE_STATE_COMPLETE
      2.000  message   IsFactoryLoggingMode:1701                 It is USER mode. fRet = false!!
      2.000  event     the service's process died: thread "worker" was left by an exception with Windows error code 6
      2.000  event     failure 3 of the service: it is restarted after 1000 ms
      3.000  event     service "Vantord" is started
      3.000  status    START_PENDING, check point 1
      3.000  message   GetFirstInterface:1973                    DeviceName : \\?\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}
      3.000  status    RUNNING, accepts stop, power event, preshutdown
      3.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_COMPLETE
      3.000  message   IsUndeployMode:1641                       Not IMAGE_STATE_UNDEPLOYABLE! szImageState = IMAGE_STATE_COMPLETE
      3.000  message   IsFactoryLoggingMode:1701                 It is USER mode. fRet = false!!
      3.000  message   SGetRegistryDWORD:820                     RegQueryValueEx fail, ValueName = Distribute
      3.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(1) = 0000
      3.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(2) = 0001
      3.000  message   SGetRegistrySZ:887                        RegQueryValueEx fail, ValueName = AmssFwImagePath
      3.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_COMPLETE
      3.000  message   IsUndeployMode:1641                       Not IMAGE_STATE_UNDEPLOYABLE! szImageState = IMAGE_STATE_COMPLETE
      3.000  message   IsFactoryLoggingMode:1701                 It is USER mode. fRet = false!!
      3.000  event     the service's process died: thread "worker" was left by an exception with Windows error code 6
      3.000  event     failure 4 of the service: it is restarted after 1000 ms
      4.000  event     service "Vantord" is started
      4.000  status    START_PENDING, check point 1
      4.000  message   GetFirstInterface:1973                    DeviceName : \\?\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}
      4.000  status    RUNNING, accepts stop, power event, preshutdown
      4.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_COMPLETE
      4.000  message   IsUndeployMode:1641                       Not IMAGE_STATE_UNDEPLOYABLE! szImageState = IMAGE_STATE_COMPLETE
      4.000  message   IsFactoryLoggingMode:1701                 It is USER mode. fRet = false!!
      4.000  message   SGetRegistryDWORD:820                     RegQueryValueEx fail, ValueName = Distribute
      4.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(1) = 0000
      4.000  message   SRegistrySubKeys:1072                     SRegistrySubKeys Index(2) = 0001
      4.000  message   SGetRegistrySZ:887                        RegQueryValueEx fail, ValueName = AmssFwImagePath
      4.000  message   IsAuditMode:1617                          Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_COMPLETE
      4.000  message   IsUndeployMode:1641                       Not IMAGE_STATE_UNDEPLOYABLE! szImageState = IMAGE_STATE_COMPLETE
      4.000  message   IsFactoryLoggingMode:1701                 It is USER mode. fRet = false!!
stop
      4.000  event     stop control sent
      4.000  status    STOP_PENDING, check point 2, accepts stop, power event, preshutdown
      4.000  event     radio layer connected at attempt 1
      4.000  event     radio layer receives the command with value 1
      4.000  event     radio layer released
      4.001  event     note: no progress reported for longer than the wait hint of 0 ms while STOP_PENDING
      6.000  status    STOPPED
      6.000  event     the service's process ended with exit code 0
             end       the service stopped as it was told
             registry  [SYSTEM\CurrentControlSet\Services\Vantord\Parameters]
             registry    "PELT_KNOW_TO_GO_SSR" = dword:00000001 is new
