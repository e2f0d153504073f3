#include "platform/thread.h"

#include <cerrno>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace ferncrest {

Outcome startThread(std::function<void()> body) {
  try {
    std::thread(std::move(body)).detach();
    return {};
  } catch (const std::system_error& error) {
    return std::unexpected(systemFailure(error.code().value()));
  } catch (const std::bad_alloc&) {
    return std::unexpected(systemFailure(ENOMEM));
  }
}

}  // namespace ferncrest
