#pragma once

namespace kellanseek::platform {

/// The locks of the component in the order in which one thread may hold several: whoever holds a lock takes
/// only later ones. Two locks of one kind are never held together.
enum class LockOrder {
  Program,      ///< A program's own, outside the component.
  Run,          ///< The present run of the network side.
  Engine,       ///< Rebuilds of the interface table against identities of virtual controllers.
  Table,        ///< The records.
  HostNames,    ///< Addresses that wait for a look-up.
  DaemonList,   ///< The published virtual controllers.
  DaemonQueue,  ///< Messages for the daemon.
  Subscribers,
  EventQueue,
  AddressWatch,
  ErrorText,
  Journal,
  Terminal,    ///< The mode to which a program returns its terminal.
  StopSignal,  ///< The event that a signal sets.
  Event,       ///< The state of an event.
  Trace,
};

#ifdef KELLANSEEK_CHECK_LOCKS
/// Call before a lock is taken. Ends the process with a message that names both locks if the calling thread
/// holds one that is not earlier.
void CheckLockOrder(LockOrder wanted);
/// Call when the calling thread has taken a lock, and when it has released it.
void LockTaken(LockOrder taken);
void LockReleased(LockOrder released);
/// Ends the process if the calling thread holds a lock: what follows may run foreign code, or wait.
void CheckNoLockHeld(const char* what);
#else
inline void CheckLockOrder(LockOrder) {}
inline void LockTaken(LockOrder) {}
inline void LockReleased(LockOrder) {}
inline void CheckNoLockHeld(const char*) {}
#endif

}  // namespace kellanseek::platform
