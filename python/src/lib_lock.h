// The one lock around calls into the library, which keeps process-wide state
// (the line buffer, the settings, the locale) and is used from one thread at
// a time. Python threads take it in turn; a thread that waits for it does
// not hold the interpreter lock, so that an indexing or a rewrite that runs
// without the interpreter lock and calls back into Python for its progress
// never waits on a thread that waits on it.
#ifndef LORN_PYTHON_SRC_LIB_LOCK_H_
#define LORN_PYTHON_SRC_LIB_LOCK_H_

#include <pybind11/pybind11.h>

// Held for the life of the object. Made with the interpreter lock held.
// Throws CHostError when the calling thread holds it already: a progress
// callback that calls the library would take the line buffer from under the
// pass that reports.
class CLibLock {
 public:
  CLibLock();
  ~CLibLock();
  CLibLock(const CLibLock&) = delete;
  CLibLock& operator=(const CLibLock&) = delete;
};

#endif  // LORN_PYTHON_SRC_LIB_LOCK_H_
