# The radio layer takes the command of the service's end and never answers.
# That costs the stop half a minute
# before it goes on to the worker.
tablet already-deployed
set radio.answers 0
boot quietly
      0.000  event     service "Vantord" is started
      0.000  status    START_PENDING, check point 1
      0.000  status    RUNNING, accepts stop, power event, preshutdown
      0.000  event     partner service is started
stop
      0.000  event     stop control sent
      0.000  status    STOP_PENDING, check point 2, accepts stop, power event, preshutdown
      0.000  event     radio layer connected at attempt 1
      0.000  event     radio layer receives the command with value 1
      0.001  event     note: no progress reported for longer than the wait hint of 0 ms while STOP_PENDING
     30.000  event     radio layer released
     30.001  event     note: the handler has not returned from control 1 for 30 s, which counts as no answer: ERROR_SERVICE_REQUEST_TIMEOUT (1053)
     32.000  status    STOPPED
     32.000  event     the service's process ended with exit code 0
             end       the service stopped as it was told
             registry  [SYSTEM\CurrentControlSet\Services\Vantord\Parameters]
             registry    "PELT_KNOW_TO_GO_SSR" = dword:00000001 is new
show radio
             radio     connections tried 1, commands 1, releases 1
