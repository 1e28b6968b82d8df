#pragma once
#include "platform/export.h"
#include "platform/time/vela_time.h"

// The time-zone service: the time of day from the platform's clock, the rules from the system's zone
// database. The server's zone is the key "TimeZone" of etc/conf/vela.cfg, else the zone of the host; it is
// read on first use. An unknown name is reported once in the log and the host's zone used; where that is
// unknown too, UTC. Safe in any thread; no lock is taken once the zone is read.
//
// Long times are 32 bits wide: 1901-12-13 20:45:52 to 2038-01-19 03:14:07 UTC. What does not fit fails.
// Operations that return -1 leave their output untouched; input and output may be the same record. A failure
// is a clock outside that range, a record that is no time (February 30, hour 24, second 60) or whose zone is
// more than a day from UTC, or a result outside the range.
//
// The zone of a record. The offset names the server's zone when the server's zone uses that offset at any
// time in its history, summer or winter: its rules then apply at the record's own time, whatever season the
// offset belongs to. Any other offset is a fixed zone without daylight-saving time. The daylight-saving flag
// of the zone database is used as it is: in a zone whose winter time is the exception (Europe/Dublin), the
// flag is set in winter. After 2037 the last offset goes on.
class VELA_EXPORT VELATZone {
 public:
  VELATZone(const VELATZone&) = delete;
  VELATZone& operator=(const VELATZone&) = delete;

  // Lives as long as the process.
  static VELATZone* instance();

  // Now, with zone 0 and flag 0. 0, or -1.
  static int getServerUTCTime(VELATime& now);
  // Now in the server's zone, with the offset and the flag in force. 0, or -1.
  static int getServerLocalTime(VELATime& now);

  // The moment of a local time. An offset that the zone has at the record's time counts, so what getLocalTime
  // gave comes back exactly, also in the hour that the clock shows twice. Only when the flag says the
  // opposite of the rules, and the pair is not what the server has now, the flag wins: the clock is read with
  // the offset that the zone last had with that flag, at most a year away. An offset that the zone has at
  // other times is replaced by the one of the rules: the first of two, and the one before the change for a
  // time that the clock skips. 0, or -1.
  int getUTCTime(const VELATime& local, VELATime& utc) const;
  // `utc.zone` names the zone; `local` gets the offset and the flag in force at that moment. 0, or -1.
  int getLocalTime(const VELATime& utc, VELATime& local) const;

  // Seconds from the epoch to year..second read as UTC; -1 when they are no time or do not fit. (-1 is also
  // the moment before the epoch.)
  static long toLongTime(const VELATime& t);
  // The UTC record of 32-bit seconds; a new record when they do not fit.
  static VELATime toVELATime(long t);

 private:
  constexpr VELATZone() = default;
};
