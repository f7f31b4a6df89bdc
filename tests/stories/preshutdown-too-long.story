# Windows shuts down while the radio layer cannot be reached:
# this tablet gives the service a minute after the preshutdown notice,
# and it takes longer.
tablet already-deployed
set radio.failing_attempts "always"
set services.preshutdown_timeout_ms 60000
boot quietly
      0.000  event     service "Vantord" is started
      0.000  status    START_PENDING, check point 1
      0.000  status    RUNNING, accepts stop, power event, preshutdown
      0.000  event     partner service is started
preshutdown
      0.000  event     preshutdown control sent
      0.000  status    STOP_PENDING, check point 2, accepts stop, power event, preshutdown
      0.001  event     note: no progress reported for longer than the wait hint of 0 ms while STOP_PENDING
     30.001  event     note: the handler has not returned from control 15 for 30 s, which counts as no answer: ERROR_SERVICE_REQUEST_TIMEOUT (1053)
     60.001  event     note: not stopped within the preshutdown time-out of 60000 ms; Windows would shut down without waiting any longer
    102.000  status    STOPPED
    102.000  event     the service's process ended with exit code 0
             end       the service stopped as it was told
             registry  [SYSTEM\CurrentControlSet\Services\Vantord\Parameters]
             registry    "PELT_KNOW_TO_GO_SSR" = dword:00000001 is new
