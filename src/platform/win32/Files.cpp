#include "platform/Files.h"

#include <utility>

#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

DWORD MakeDirectories(const std::wstring& directory) {
  const auto make = [&] {
    if (CreateDirectoryW(directory.c_str(), nullptr) != FALSE) return DWORD{ERROR_SUCCESS};
    const DWORD error = GetLastError();
    return error == ERROR_ALREADY_EXISTS ? DWORD{ERROR_SUCCESS} : error;
  };
  const DWORD error = make();
  const std::size_t end = directory.find_last_of(L"\\/");
  if (error != ERROR_PATH_NOT_FOUND || end == std::wstring::npos) return error;
  const DWORD above = MakeDirectories(directory.substr(0, end));
  return above == ERROR_SUCCESS ? make() : above;
}

/// A file that nobody else may open. The system deletes it when the handle is closed.
class Lock final : public DirectoryLock {
 public:
  explicit Lock(UniqueHandle file) : file_(std::move(file)) {}

 private:
  const UniqueHandle file_;
};

}  // namespace

std::wstring_view PathSeparator() { return L"\\"; }

PathKind KindOfPath(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? PathKind::Nothing
                                                                          : PathKind::Other;
  }
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? PathKind::Directory : PathKind::Other;
}

HRESULT MakeDirectory(const std::wstring& path, std::wstring& why) {
  const DWORD error = MakeDirectories(path);
  if (error == ERROR_SUCCESS) return S_OK;
  why = SystemMessage(error);
  return HRESULT_FROM_WIN32(error);
}

HRESULT CreateNewFile(const std::wstring& path, std::string_view content, std::wstring& why) {
  DWORD error = ERROR_SUCCESS;
  {
    const UniqueHandle file(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    if (!file) {
      error = GetLastError();
      if (error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS) return S_FALSE;
      why = SystemMessage(error);
      return HRESULT_FROM_WIN32(error);
    }
    if (WriteFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr) ==
        FALSE) {
      error = GetLastError();
    } else if (written != content.size()) {
      error = ERROR_DISK_FULL;
    }
  }
  if (error == ERROR_SUCCESS) return S_OK;
  why = SystemMessage(error);
  DeleteFileW(path.c_str());
  return HRESULT_FROM_WIN32(error);
}

std::unique_ptr<DirectoryLock> LockDirectory(const std::wstring& path, std::chrono::milliseconds patience,
                                             std::wstring& why) {
  constexpr DWORD kPause = 10;
  const std::wstring name = path + L"\\.kelseek-lock";
  constexpr std::chrono::milliseconds kDeletion{500};
  const auto begin = std::chrono::steady_clock::now();
  while (true) {
    UniqueHandle file(CreateFileW(name.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    if (file) return std::make_unique<Lock>(std::move(file));
    const DWORD error = GetLastError();
    const auto waited = std::chrono::steady_clock::now() - begin;
    // Access is denied while the file is being deleted, and to those who may not write here.
    const bool isHeld =
        error == ERROR_SHARING_VIOLATION || (error == ERROR_ACCESS_DENIED && waited < kDeletion);
    if (!isHeld || waited >= patience) {
      why = SystemMessage(error);
      return nullptr;
    }
    Sleep(kPause);
  }
}

}  // namespace kellanseek::platform
