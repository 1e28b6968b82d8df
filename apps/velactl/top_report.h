#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "apps/velactl/process_query.h"
#include "asn1/nms.h"

namespace velactl {

// What the processes of an installation say about themselves at one time.
struct TopView {
  std::int64_t time = 0;  // seconds since 1970-01-01 UTC
  std::vector<ProcessAnswer<AsnStatusRsp>> processes;
  std::size_t clients = 0;       // that live
  std::uint64_t broadcasts = 0;  // of the topology service, seen since the start
  std::uint64_t changedNEs = 0;  // in them
};

// A line that sums up; a table of the processes, with a line also for one that gave no answer; a table of
// their missions.
std::string TopText(const TopView& view);
// One object; each process and each mission on a line of its own, with all that the process told.
std::string TopJson(const TopView& view);

// The lines of `text` that fit on a screen.
std::string FitScreen(const std::string& text, std::size_t columns, std::size_t rows);

// 3 s, 5 min, 2 h, 4 d: the largest unit of which there are two.
std::string AgeText(std::int64_t seconds);

}  // namespace velactl
