#include "platform/imaging/errno_result.h"

#include <cerrno>

namespace Vantra::Platform {
namespace {

constexpr DWORD kErrorTooManyOpenFiles = 4;
constexpr DWORD kErrorWriteProtect = 19;
constexpr DWORD kErrorDiskFull = 112;

}  // namespace

HRESULT ResultFromErrno(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ENAMETOOLONG:
      return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    case EACCES:
    case EPERM:
    case ELOOP:
    case EISDIR:
      return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    case EROFS:
      return HRESULT_FROM_WIN32(kErrorWriteProtect);
    case EMFILE:
    case ENFILE:
      return HRESULT_FROM_WIN32(kErrorTooManyOpenFiles);
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return HRESULT_FROM_WIN32(kErrorDiskFull);
    case ENOMEM:
      return E_OUTOFMEMORY;
    default:
      return E_FAIL;
  }
}

}  // namespace Vantra::Platform
