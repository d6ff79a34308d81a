#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <system_error>
#include <thread>
#include <type_traits>

namespace kellanseek::platform {

/// How a thread competes for the processor with the threads of its process and with other programs.
enum class ThreadUrgency {
  Normal,
  Prompt,      ///< Little to do, but at once: runs soon after what it waits for has happened.
  Background,  ///< May take what the others leave.
};

/// Calls `step`; false when it ended in an exception. `report` is handed what the exception says of itself,
/// unless memory ran out, since telling takes memory as well. The end of the thread itself (pthread_exit, a
/// cancellation) goes through.
bool CallStep(void (*step)(void*), void* stepArgument, void (*report)(void*, std::string_view),
              void* reportArgument);

/// Runs one step of a thread's loop. A step that ends in an exception is lost, as a datagram may be, and the
/// thread goes on with the next one: it has nobody to report to, and without it discovery would stand still.
/// False when that happened; `report` has been called with the exception's own text then, unless memory ran
/// out.
template <typename Step, typename Report>
bool RunStep(Step step, Report&& report) {
  using PlainReport = std::remove_reference_t<Report>;
  return CallStep([](void* argument) { (*static_cast<Step*>(argument))(); }, std::addressof(step),
                  [](void* argument, std::string_view what) { (*static_cast<PlainReport*>(argument))(what); },
                  std::addressof(report));
}

/// A named thread, closed to the application's signals, that is a member of the multithreaded COM apartment
/// from before its body runs until after it has ended. The owner joins it: destruction waits for the body to
/// end. Not for use by several threads at once.
class Thread {
 public:
  Thread() = default;
  ~Thread();
  Thread(Thread&&) noexcept = default;
  Thread& operator=(Thread&&) = delete;

  /// Starts the thread. `name` (at most 15 characters) is what a debugger shows. Gives the system's reason
  /// when it has no thread left (this one is then not running), and no error otherwise. A system that refuses
  /// the urgency takes it as Normal.
  [[nodiscard]] std::error_code Start(const char* name, std::function<void()> body,
                                      ThreadUrgency urgency = ThreadUrgency::Normal);
  bool Running() const { return thread_.joinable(); }
  /// True when called on this very thread.
  bool IsCurrent() const { return thread_.get_id() == std::this_thread::get_id(); }
  /// Waits for the body to end; does nothing when no thread runs.
  void Join();
  /// Lets a running thread go its own way; used only when the thread itself tears its owner down.
  void Detach();

 private:
  std::thread thread_;
};

}  // namespace kellanseek::platform
