// CRILHandler: a short-lived client of the radio interface layer, used once at the service's end.
#pragma once

#include <windows.h>

#include "vantord/common/handles.h"
#include "vantord/radio/kavrilproxy.h"

class CRILHandler {
 public:
  CRILHandler();
  /// Disconnects, if connected. Runs on the control thread, at the end of CModemQC::Deinit.
  virtual ~CRILHandler();
  CRILHandler(const CRILHandler&) = delete;
  CRILHandler& operator=(const CRILHandler&) = delete;

  /// Connects, trying 100 times with a pause of 1 s after each failure. Returns false if the radio cannot be reached.
  bool Init();

  /// Sends the shutdown command and waits at most 30 s for its completion; the outcome is ignored.
  void RequestShutdown();

 private:
  static void CALLBACK OnResult(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void* context);
  static void CALLBACK OnNotify(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void* context);
  void ResultCallback();
  void NotifyCallback();

  HRIL m_hRil = nullptr;  ///< null: not connected
  EventHandle m_hEvent;   ///< auto reset; signalled by the result callback
};
