# The radio layer cannot be reached: a stop tries a hundred times,
# a second apart, and then goes on without a word.
# Windows would tell whoever stops the service that it does not answer.
tablet already-deployed
set radio.failing_attempts "always"
boot quietly
      0.000  event     service "Vantord" is started
      0.000  status    START_PENDING, check point 1
      0.000  status    RUNNING, accepts stop, power event, preshutdown
      0.000  event     partner service is started
stop
      0.000  event     stop control sent
      0.000  status    STOP_PENDING, check point 2, accepts stop, power event, preshutdown
      0.001  event     note: no progress reported for longer than the wait hint of 0 ms while STOP_PENDING
     30.001  event     note: the handler has not returned from control 1 for 30 s, which counts as no answer: ERROR_SERVICE_REQUEST_TIMEOUT (1053)
    102.000  status    STOPPED
    102.000  event     the service's process ended with exit code 0
             end       the service stopped as it was told
             registry  [SYSTEM\CurrentControlSet\Services\Vantord\Parameters]
             registry    "PELT_KNOW_TO_GO_SSR" = dword:00000001 is new
show radio
             radio     connections tried 100, commands 0, releases 0
