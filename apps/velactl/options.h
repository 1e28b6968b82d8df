#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the command lines of velactl have in common.
namespace velactl {

struct ServerChoice {
  std::uint16_t process = 100;
  std::uint16_t handle = 0;  // 0: any instance
};

// What the commands that send a request have in common.
struct RequestOptions {
  ServerChoice server;
  int timeOut = 0;  // seconds for the whole request; 0: none
  bool json = false;
  bool help = false;
};

// Takes the argument at `i`, and its value, into a command's own options; why it is wrong in `error`. False
// when it is none of these.
using TakeArgument = std::function<bool(std::size_t& i, std::string& error)>;

// Reads what follows "velactl <verb>": `take` is asked first, then it is a common option or wrong. Nothing is
// read behind --help. False with `error`.
bool ReadArguments(std::string_view verb, const std::vector<std::string>& arguments, RequestOptions& options,
                   const TakeArgument& take, std::string& error);
// `text` with the hint where the verb is explained.
std::string SeeHelp(const std::string& text, std::string_view verb);

// Whether the argument is no option.
bool IsOperand(const std::string& argument);

// A whole decimal number from `low` to `high`.
std::optional<int> ParseNumber(std::string_view text, int low, int high);

// "N" or "N/HANDLE"; false and `choice` untouched when it is neither.
bool ParseServer(std::string_view text, ServerChoice& choice);

// The NEs of a list (apps/common/ne_list.h), at most `most`: empty, or what is wrong with it.
std::string ReadNEs(const std::string& list, std::size_t most, std::vector<std::uint32_t>& nes);

// Takes the value of `--name=value`, or of `--name value` (then `i` moves on to the value); false when the
// argument is not that option. A missing value is an empty one.
bool TakeValue(const std::vector<std::string>& arguments, std::size_t& i, std::string_view name,
               std::string& value);

}  // namespace velactl
