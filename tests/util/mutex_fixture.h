#pragma once
#include <gtest/gtest.h>

#include <list>
#include <string>

#include "platform/testkit/testkit.h"
#include "tests/files.h"
#include "util/basicutil/common.h"
#include "util/basicutil/mutex.h"
#include "util/basicutil/mutex_query.h"

using namespace NSTE_util;

namespace mutex_test {

using Objects = std::list<TEOperObject>;

inline TEMutexOperMgr& Mgr() {
  return *TEMutexOperMgr::Instance();
}

inline bool Load(const std::string& content) {
  return Mgr().LoadMutexFile(files::Write("mutex.cfg", content));
}

class MutexTest : public testing::Test {
 protected:
  ~MutexTest() override { TEMutexOperMgr::Destroy(); }
  // How often the text stands in the log, held-back records included.
  int Traced(const std::string& text) {
    WriteException("dump");
    int count = 0;
    for (const testkit::LogRecord& record : m_log.Records())
      for (std::size_t at = record.text.find(text); at != std::string::npos;
           at = record.text.find(text, at + 1))
        ++count;
    return count;
  }

  testkit::LogCapture m_log;
};

}  // namespace mutex_test
