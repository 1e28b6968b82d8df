#pragma once
#include "apps/velactl/file_report.h"

namespace velactl {

class FileSession;

// Does what the options say, as the work of the session: asks the server and reads or writes the file here,
// which is replaced as a whole or not at all. False with `error` in the outcome, or because the session is
// being left.
bool TransferFile(const FileOptions& options, FileSession& session, FileOutcome& outcome);

}  // namespace velactl
