#pragma once
#include <list>

#include "tests/util/util_test.h"
#include "util/basicutil/mutex.h"
#include "util/basicutil/mutex_query.h"

namespace mutex_test {

using Objects = std::list<TEOperObject>;

inline TEMutexOperMgr& Mgr() {
  return *TEMutexOperMgr::Instance();
}

inline bool Load(const std::string& content) {
  return Mgr().LoadMutexFile(files::Write("mutex.cfg", content));
}

class MutexTest : public LogTest {
 protected:
  ~MutexTest() override { TEMutexOperMgr::Destroy(); }
};

}  // namespace mutex_test
