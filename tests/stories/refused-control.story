# The service is about to stop and waits for the radio layer's answer.
# Whoever sends it a control now is refused with Windows' own error,
# and so is a second stop.
tablet already-deployed
set radio.answers 0
set timeline [{"at_ms": 1000, "event": "stop"}, {"at_ms": 5000, "event": "control", "control": 130}, {"at_ms": 6000, "event": "stop"}]
boot quietly
      0.000  event     service "Vantord" is started
      0.000  status    START_PENDING, check point 1
      0.000  status    RUNNING, accepts stop, power event, preshutdown
      0.000  event     partner service is started
      1.000  event     stop control sent
      1.000  status    STOP_PENDING, check point 2, accepts stop, power event, preshutdown
      1.000  event     radio layer connected at attempt 1
      1.000  event     radio layer receives the command with value 1
      1.001  event     note: no progress reported for longer than the wait hint of 0 ms while STOP_PENDING
      5.000  event     control 130 refused: ERROR_SERVICE_CANNOT_ACCEPT_CTRL (1061)
      6.000  event     stop control refused: ERROR_SERVICE_CANNOT_ACCEPT_CTRL (1061)
     31.000  event     radio layer released
     31.001  event     note: the handler has not returned from control 1 for 30 s, which counts as no answer: ERROR_SERVICE_REQUEST_TIMEOUT (1053)
     33.000  status    STOPPED
     33.000  event     the service's process ended with exit code 0
             end       the service stopped as it was told
             registry  [SYSTEM\CurrentControlSet\Services\Vantord\Parameters]
             registry    "PELT_KNOW_TO_GO_SSR" = dword:00000001 is new
