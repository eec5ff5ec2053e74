#include "platform/imaging/child_process.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Vantra::Platform {
namespace {

// Ends a process that runs in circles. One whose host has died is ended by what it sends next.
constexpr rlim_t kMaximumSeconds = 120;

// In the pipe at a time, so that both sides work at once.
constexpr int kPipeBytes = 1 << 20;

void SetLimit(__rlimit_resource resource, rlim_t most) {
  const rlimit limit{most, most};
  setrlimit(resource, &limit);
}

// Gives up what belongs to the host, apart from memory. The pipe becomes file 0.
void LeaveHost(int pipe) {
  for (int number = 1; number < NSIG; ++number) std::signal(number, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  pthread_sigmask(SIG_SETMASK, &none, nullptr);
  // No dump of the host's memory.
  prctl(PR_SET_DUMPABLE, 0);
  dup2(pipe, 0);
  close_range(1, UINT_MAX, 0);
  SetLimit(RLIMIT_CORE, 0);
  SetLimit(RLIMIT_NOFILE, 0);
  SetLimit(RLIMIT_CPU, kMaximumSeconds);
}

// Gives back the whole pages of memory that is this process's copy of another's.
void Forget(std::span<BYTE> memory) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const auto start = reinterpret_cast<std::uintptr_t>(memory.data());
  const std::size_t before = (page - start % page) % page;
  if (memory.size() < before + page) return;
  madvise(memory.data() + before, (memory.size() - before) / page * page, MADV_DONTNEED);
}

void SendAll(const void* bytes, std::size_t size) {
  const auto* next = static_cast<const BYTE*>(bytes);
  while (size > 0) {
    const ssize_t sent = write(0, next, size);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) _exit(1);
    next += sent;
    size -= static_cast<std::size_t>(sent);
  }
}

}  // namespace

ChildProcess::~ChildProcess() {
  if (process_ < 0) return;
  close(pipe_);
  int status = 0;
  // One that the host has waited for already is not there any more, and its number may be
  // another's.
  if (waitpid(process_, &status, WNOHANG) != 0) return;
  kill(process_, SIGKILL);
  while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
}

HRESULT ChildProcess::Start(const std::function<void(const Send& send)>& work,
                            std::span<BYTE> without) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return E_FAIL;
  fcntl(ends[0], F_SETPIPE_SZ, kPipeBytes);
  // The host's handlers do not run over there.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  process_ = fork();
  if (process_ == 0) {
    LeaveHost(ends[1]);
    Forget(without);
    try {
      work(SendAll);
    } catch (...) {
    }
    // Nothing of the host's is torn down.
    _exit(0);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  close(ends[1]);
  if (process_ < 0) {
    close(ends[0]);
    return E_FAIL;
  }
  pipe_ = ends[0];
  return S_OK;
}

bool ChildProcess::Receive(void* bytes, std::size_t size) {
  auto* next = static_cast<BYTE*>(bytes);
  while (size > 0) {
    const ssize_t received = read(pipe_, next, size);
    if (received < 0 && errno == EINTR) continue;
    if (received <= 0) return false;
    next += received;
    size -= static_cast<std::size_t>(received);
  }
  return true;
}

}  // namespace Vantra::Platform
