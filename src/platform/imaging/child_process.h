#pragma once

/// Work that may crash, in a process of its own.

#include <vantrix/platform/com.h>

#include <cstddef>
#include <functional>
#include <span>
#include <sys/types.h>

namespace Vantra::Platform {

/// A copy of this process that does one thing and sends bytes while it does. What happens there
/// happens to nothing else: it cannot reach the host's files and sockets, does not run the host's
/// signal handlers, and is ended with this object. The host gets `SIGCHLD` when it ends.
class ChildProcess {
 public:
  /// Sends bytes from inside.
  using Send = std::function<void(const void* bytes, std::size_t size)>;

  ChildProcess() = default;
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Starts `work`, which sees everything as it is now, apart from `without`: what it does not see
  /// is not copied when the host writes it. It may throw what it likes. `E_FAIL` when the system
  /// gives no process.
  HRESULT Start(const std::function<void(const Send& send)>& work, std::span<BYTE> without = {});

  /// Waits for that many bytes. False when the process has ended before it sent them.
  bool Receive(void* bytes, std::size_t size);

 private:
  pid_t process_ = -1;
  int pipe_ = -1;
};

}  // namespace Vantra::Platform
