#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <system_error>
#include <thread>
#include <type_traits>

namespace kellanseek::platform {

/// How a thread competes for the processor, within its process and with other programs.
enum class ThreadUrgency {
  Normal,
  Prompt,      ///< Little work, but due at once: scheduled soon after its wait ends.
  Background,  ///< Runs when nothing else wants to.
};

/// Calls `step` and returns false if it ended in an exception. Passes the exception's text to `report`,
/// unless memory ran out, because reporting takes memory too. Lets the end of the thread itself
/// (pthread_exit, cancellation) pass through.
bool CallStep(void (*step)(void*), void* stepArgument, void (*report)(void*, std::string_view),
              void* reportArgument);

/// Runs one step of a thread's loop. An exception costs that step but not the thread: no caller waits for the
/// engine's threads, so without one discovery would stop silently. Returns false after an exception. `report`
/// has then received its text, unless memory ran out.
template <typename Step, typename Report>
bool RunStep(Step step, Report&& report) {
  using PlainReport = std::remove_reference_t<Report>;
  return CallStep([](void* argument) { (*static_cast<Step*>(argument))(); }, std::addressof(step),
                  [](void* argument, std::string_view what) { (*static_cast<PlainReport*>(argument))(what); },
                  std::addressof(report));
}

/// A named thread that takes none of the application's signals and belongs to the multithreaded COM apartment
/// while its body runs. The owner joins it: the destructor waits for the body to end. Not thread-safe.
class Thread {
 public:
  Thread() = default;
  ~Thread();
  Thread(Thread&&) noexcept = default;
  Thread& operator=(Thread&&) = delete;

  /// Starts the thread. A debugger shows `name`, of at most 15 characters. Returns the system's error if no
  /// thread can be created. If the system refuses the urgency, the thread runs as Normal.
  [[nodiscard]] std::error_code Start(const char* name, std::function<void()> body,
                                      ThreadUrgency urgency = ThreadUrgency::Normal);
  bool Running() const { return thread_.joinable(); }
  /// Whether the caller runs on this thread.
  bool IsCurrent() const { return thread_.get_id() == std::this_thread::get_id(); }
  /// Waits for the body to end. Does nothing if no thread runs.
  void Join();
  /// Gives up a running thread. Only for a thread that destroys its own owner, which cannot join itself.
  void Detach();

 private:
  std::thread thread_;
};

}  // namespace kellanseek::platform
