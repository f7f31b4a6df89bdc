# The service is about to stop and waits for the radio layer's answer.
# Whoever sends it a control now is refused with Windows' own error,
# and so is a second stop.
tablet already-deployed
set radio.answers 0
set timeline [{"at_ms": 1000, "event": "stop"}, {"at_ms": 5000, "event": "control", "control": 130}, {"at_ms": 6000, "event": "stop"}]
boot quietly
