#pragma once
#include "platform/asncmd/asn_runtime.h"
#include "platform/task/vela_error.h"
#include "tests/test_base.h"
#include "util/basicutil/common.h"

using namespace NSTE_util;

// A test that reads the log.
class LogTest : public testing::Test {
 protected:
  // How often the text was traced; what was held back is written first.
  int Traced(const std::string& text) {
    WriteException("dump");
    int count = 0;
    for (const testkit::LogRecord& record : m_log.Records())
      for (std::size_t at = 0; (at = record.text.find(text, at)) != std::string::npos; ++at) ++count;
    return count;
  }
  int Asserted(const std::string& expression) {
    return m_log.Count("assertion failed for '" + expression + "'");
  }

  testkit::LogCapture m_log;
};
