#include "platform/Terminal.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/Mutex.h"
#include "platform/win32/EventNative.h"
#include "platform/win32/System.h"
#include "text/Utf8.h"

#include <fcntl.h>
#include <io.h>

namespace kellanseek::platform {
namespace {

// Flags of console modes since Windows 10.
constexpr DWORD kEscapeSequences = 0x0004;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING
constexpr DWORD kKeysAsSequences = 0x0200;  // ENABLE_VIRTUAL_TERMINAL_INPUT
// Typed characters arrive at once and are not shown. Ctrl-C keeps its meaning; the mouse marks no text, which
// would stop the output.
constexpr DWORD kScreenInput =
    ENABLE_PROCESSED_INPUT | ENABLE_WINDOW_INPUT | ENABLE_EXTENDED_FLAGS | kKeysAsSequences;

HANDLE Input() { return GetStdHandle(STD_INPUT_HANDLE); }
HANDLE Output() { return GetStdHandle(STD_OUTPUT_HANDLE); }

bool OutputIsConsole(DWORD& mode) { return GetConsoleMode(Output(), &mode) != FALSE; }

bool WriteAll(std::string_view text) {
  DWORD written = 0;
  return WriteFile(Output(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != FALSE &&
         written == text.size();
}

/// How to give the console back.
struct Former {
  DWORD input = 0;
  DWORD output = 0;
  std::string leave;
};

Mutex formerMutex{LockOrder::Terminal};
std::optional<Former> former GUARDED_BY(formerMutex);

bool RestoreFormer() {
  std::optional<Former> before;
  {
    const MutexLock lock(formerMutex);
    before = std::exchange(former, std::nullopt);
  }
  if (!before) return true;
  const bool written = WriteAll(before->leave);
  const bool input = SetConsoleMode(Input(), before->input) != FALSE;
  return SetConsoleMode(Output(), before->output) != FALSE && input && written;
}

std::system_error Failure() {
  return {static_cast<int>(GetLastError()), std::system_category(), "the console cannot be used"};
}

}  // namespace

void UseUtf8Output() {
  DWORD mode = 0;
  if (OutputIsConsole(mode)) SetConsoleOutputCP(CP_UTF8);
}

// A new file handle never takes the place of a standard stream's.
void ReserveClosedStreams() {}

void KeepLineEnds() { _setmode(_fileno(stdout), _O_BINARY); }

bool OutputTakesColours() {
  DWORD mode = 0;
  return OutputIsConsole(mode) && SetConsoleMode(Output(), mode | kEscapeSequences) != FALSE;
}

bool ErrorsAreSeen() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != FALSE;
}

TerminalSize OutputSize() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(Output(), &info) == FALSE) return {};
  const SMALL_RECT& window = info.srWindow;
  return {static_cast<std::size_t>(std::max(window.Right - window.Left + 1, 0)),
          static_cast<std::size_t>(std::max(window.Bottom - window.Top + 1, 0))};
}

bool TerminalIsInteractive() {
  DWORD mode = 0;
  const TerminalSize size = OutputSize();
  if (size.columns == 0 || size.rows == 0 || !OutputTakesColours()) return false;
  // Tries whether the console knows keys as sequences.
  if (GetConsoleMode(Input(), &mode) == FALSE || SetConsoleMode(Input(), kScreenInput) == FALSE) return false;
  return SetConsoleMode(Input(), mode) != FALSE;
}

struct InteractiveTerminal::Native {
  /// Takes the console's input records. Returns false if the console is gone.
  bool Fetch() {
    std::array<INPUT_RECORD, 128> records{};
    DWORD count = 0;
    if (ReadConsoleInputW(Input(), records.data(), static_cast<DWORD>(records.size()), &count) == FALSE)
      return false;
    for (DWORD i = 0; i < count; ++i) {
      const INPUT_RECORD& record = records[i];
      resized |= record.EventType == WINDOW_BUFFER_SIZE_EVENT;
      if (record.EventType != KEY_EVENT || record.Event.KeyEvent.bKeyDown == FALSE) continue;
      const wchar_t unit = record.Event.KeyEvent.uChar.UnicodeChar;
      if (unit != 0) typed.append(std::max<std::size_t>(record.Event.KeyEvent.wRepeatCount, 1), unit);
    }
    return true;
  }

  std::wstring typed;
  bool resized = false;
};

InteractiveTerminal::InteractiveTerminal(std::string_view enter, std::string_view leave)
    : native_(std::make_unique<Native>()) {
  Former before;
  before.leave = leave;
  if (GetConsoleMode(Input(), &before.input) == FALSE || GetConsoleMode(Output(), &before.output) == FALSE)
    throw Failure();
  const DWORD output = before.output | kEscapeSequences;
  {
    const MutexLock lock(formerMutex);
    former = std::move(before);
  }
  if (SetConsoleMode(Input(), kScreenInput) != FALSE && SetConsoleMode(Output(), output) != FALSE &&
      WriteAll(enter))
    return;
  const std::system_error failure = Failure();
  Restore();
  throw failure;
}

InteractiveTerminal::~InteractiveTerminal() { Restore(); }

TerminalWake InteractiveTerminal::Wait(std::initializer_list<Event*> events,
                                       std::optional<std::chrono::milliseconds> timeout) {
  std::vector<HANDLE> handles;
  for (Event* event : events) handles.push_back(event->native().handle.get());
  handles.push_back(Input());
  const auto end = std::chrono::steady_clock::now() + timeout.value_or(std::chrono::milliseconds(0));
  for (;;) {
    DWORD wait = INFINITE;
    if (timeout) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
      wait = static_cast<DWORD>(std::clamp<long long>(left, 0, INFINITE - 1));
    }
    const DWORD count = static_cast<DWORD>(handles.size());
    const DWORD result = WaitForMultipleObjects(count, handles.data(), FALSE, wait);
    if (result == WAIT_TIMEOUT) return TerminalWake::TimedOut;
    if (result >= WAIT_OBJECT_0 + count) return TerminalWake::Closed;
    if (result < WAIT_OBJECT_0 + count - 1) return TerminalWake::Event;
    if (!native_->Fetch()) return TerminalWake::Closed;
    if (!native_->typed.empty()) return TerminalWake::Input;
    if (std::exchange(native_->resized, false)) return TerminalWake::Resized;
  }
}

std::optional<std::string> InteractiveTerminal::Read() {
  // The second half of a surrogate pair is a record of its own.
  std::wstring& typed = native_->typed;
  const bool split = !typed.empty() && typed.back() >= 0xD800 && typed.back() <= 0xDBFF;
  const std::wstring whole = typed.substr(0, typed.size() - (split ? 1 : 0));
  typed.erase(0, whole.size());
  return text::ToUtf8(whole);
}

bool InteractiveTerminal::Restore() { return RestoreFormer(); }

void RestoreTerminalAtOnce() { RestoreFormer(); }

}  // namespace kellanseek::platform
