// A module loaded from its file, as a host loads the component: open by path, look entries up by name,
// close. Closing is the caller's choice, so a host can first ask the module whether it may go.
#pragma once

#include <string>

#include "platform/com_types.h"

namespace cvplat {

class DynamicLibrary {
 public:
  DynamicLibrary() = default;
  DynamicLibrary(const DynamicLibrary&) = delete;
  DynamicLibrary& operator=(const DynamicLibrary&) = delete;
  ~DynamicLibrary() { Close(); }

  // `path` is the file's path in the system's narrow form (plain ASCII is safe everywhere). On failure
  // the text of the system's complaint is kept for Error().
  HRESULT Open(const std::string& path);
  // The entry's address, or null when the module has no such name.
  void* Symbol(const char* name) const;
  void Close();
  const std::string& Error() const { return error_; }

 private:
  void* handle_ = nullptr;
  std::string error_;
};

}  // namespace cvplat
