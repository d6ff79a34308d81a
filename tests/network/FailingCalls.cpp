// Preloaded into a program, makes one of its calls of the system, or one of its allocations, fail:
//   KELLANSEEK_FAIL=call:N | allocation:N    the N-th, counted from 1 when the program loads its first module
//   (the
//                                            component); 0 only counts
//   KELLANSEEK_FAIL_LOG=PATH                 receives the failed call's name, and at the end the number of
//   calls
#include <dlfcn.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

namespace {

/// The program has begun to load the component.
std::atomic<bool> loading{false};

class Counter {
 public:
  explicit Counter(std::string_view kind) : failing_(-1) {
    const char* const wanted = std::getenv("KELLANSEEK_FAIL");
    if (wanted == nullptr || std::string_view(wanted).substr(0, kind.size()) != kind) return;
    failing_ = std::strtol(wanted + kind.size(), nullptr, 10);
  }
  ~Counter() {
    if (failing_ == 0) Note(count_.load());
  }
  bool Fails(const char* what) {
    if (!loading || failing_ < 0 || ++count_ != failing_) return false;
    Note(what);
    return true;
  }

 private:
  static void Note(const char* text) {
    const char* const path = std::getenv("KELLANSEEK_FAIL_LOG");
    const int log = path == nullptr ? -1 : ::openat(AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (log < 0 || ::write(log, text, std::strlen(text)) < 0) std::abort();
    ::close(log);
  }
  static void Note(long number) {
    char text[24];
    char* at = text + sizeof text;
    *--at = '\0';
    do {
      *--at = static_cast<char>('0' + number % 10);
    } while ((number /= 10) != 0);
    Note(at);
  }

  long failing_;
  std::atomic<long> count_{0};
};

Counter& Calls() {
  static Counter calls("call:");
  return calls;
}
Counter& Allocations() {
  static Counter allocations("allocation:");
  return allocations;
}

}  // namespace

#define VISIBLE __attribute__((visibility("default")))

/// Replaces a function of the C library. The label keeps clear of its declaration in the headers.
#define REPLACE(result, name, parameters, arguments, onFailure)                                 \
  extern "C" VISIBLE result Replaced_##name parameters __asm__(#name);                          \
  result Replaced_##name parameters {                                                           \
    static const auto real = reinterpret_cast<result(*) parameters>(::dlsym(RTLD_NEXT, #name)); \
    if (Calls().Fails(#name)) onFailure;                                                        \
    return real arguments;                                                                      \
  }
#define FAIL_WITH(error) \
  {                      \
    errno = error;       \
    return -1;           \
  }

REPLACE(int, socket, (int a, int b, int c), (a, b, c), FAIL_WITH(EMFILE))
REPLACE(int, bind, (int a, const sockaddr* b, socklen_t c), (a, b, c), FAIL_WITH(EADDRNOTAVAIL))
REPLACE(int, setsockopt, (int a, int b, int c, const void* d, socklen_t e), (a, b, c, d, e),
        FAIL_WITH(ENOPROTOOPT))
REPLACE(int, getsockopt, (int a, int b, int c, void* d, socklen_t* e), (a, b, c, d, e),
        FAIL_WITH(ENOPROTOOPT))
REPLACE(ssize_t, sendmsg, (int a, const msghdr* b, int c), (a, b, c), FAIL_WITH(ENOBUFS))
REPLACE(ssize_t, sendto, (int a, const void* b, size_t c, int d, const sockaddr* e, socklen_t f),
        (a, b, c, d, e, f), FAIL_WITH(ENOBUFS))
REPLACE(int, recvmmsg, (int a, mmsghdr* b, unsigned c, int d, timespec* e), (a, b, c, d, e),
        FAIL_WITH(ENOMEM))
REPLACE(ssize_t, recv, (int a, void* b, size_t c, int d), (a, b, c, d), FAIL_WITH(ENOMEM))
REPLACE(int, ppoll, (pollfd * a, nfds_t b, const timespec* c, const sigset_t* d), (a, b, c, d),
        FAIL_WITH(ENOMEM))
REPLACE(int, poll, (pollfd * a, nfds_t b, int c), (a, b, c), FAIL_WITH(ENOMEM))
REPLACE(int, getifaddrs, (ifaddrs * *a), (a), FAIL_WITH(ENOMEM))
REPLACE(int, eventfd, (unsigned a, int b), (a, b), FAIL_WITH(EMFILE))
REPLACE(int, pipe2, (int* a, int b), (a, b), FAIL_WITH(EMFILE))
REPLACE(int, fcntl, (int a, int b, long c), (a, b, c), FAIL_WITH(EINVAL))
REPLACE(int, open, (const char* a, int b, mode_t c), (a, b, c), FAIL_WITH(EMFILE))
REPLACE(ssize_t, read, (int a, void* b, size_t c), (a, b, c), FAIL_WITH(EIO))
REPLACE(int, fstat, (int a, struct stat* b), (a, b), FAIL_WITH(EIO))
REPLACE(int, pthread_create, (pthread_t * a, const pthread_attr_t* b, void* (*c)(void*), void* d),
        (a, b, c, d), return EAGAIN)

extern "C" VISIBLE void* Replaced_dlopen(const char* path, int mode) __asm__("dlopen");
void* Replaced_dlopen(const char* path, int mode) {
  static const auto real = reinterpret_cast<void* (*)(const char*, int)>(::dlsym(RTLD_NEXT, "dlopen"));
  loading = true;
  return real(path, mode);
}

void* operator new(std::size_t size) {
  void* const memory = Allocations().Fails("new") ? nullptr : std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
