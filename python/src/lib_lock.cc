#include "python/src/lib_lock.h"

#include <atomic>
#include <mutex>
#include <thread>

#include "host/host_error.h"

namespace {

std::mutex g_libMutex;
std::atomic<std::thread::id> g_owner{};

}  // namespace

CLibLock::CLibLock() {
  if (g_owner.load() == std::this_thread::get_id()) {
    throw CHostError("lorn is busy on this thread: a progress callback cannot call lorn");
  }
  if (!g_libMutex.try_lock()) {
    pybind11::gil_scoped_release release;
    g_libMutex.lock();
  }
  g_owner.store(std::this_thread::get_id());
}

CLibLock::~CLibLock() {
  g_owner.store(std::thread::id());
  g_libMutex.unlock();
}
