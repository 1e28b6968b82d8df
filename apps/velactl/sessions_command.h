#pragma once
#include <string>
#include <vector>

namespace SNACC {
class AsnSessionListRsp;
}

namespace velactl {

// velactl sessions ...: the exit code.
int SessionsCommand(char* argv0, const std::vector<std::string>& arguments);

// The operations that the session service knows, in its order: columns CLIENT, USER, OPERATION, NES, BEGAN or
// ended at, and STATE.
std::string SessionTable(const SNACC::AsnSessionListRsp& response);
// One object; each operation on a line of its own.
std::string SessionJson(const SNACC::AsnSessionListRsp& response);

}  // namespace velactl
