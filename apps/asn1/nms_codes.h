#pragma once
#include <cstddef>
#include <cstdint>

// The codes of the messages of nms.asn1: what all sides know beside the ASN.1 types.

// The first two are also operation codes of conf/mutex.cfg.
constexpr std::uint32_t NE_UPLOAD_COMMAND = 0x210031;  // 2162737
constexpr std::uint32_t NE_RESET_COMMAND = 0x210032;   // 2162738
constexpr std::uint32_t NE_PIECE_COMMAND = 0x210033;
constexpr std::uint32_t NE_PIECE_END_COMMAND = 0x210034;
constexpr std::uint32_t TOPO_NE_COMMAND = 0x210041;
constexpr std::uint32_t TOPO_CHANGES_COMMAND = 0x210042;
constexpr std::uint32_t TOPO_BROADCAST_COMMAND = 0x210043;
constexpr std::uint32_t SESSION_OPER_COMMAND = 0x210051;
constexpr std::uint32_t SESSION_LIST_COMMAND = 0x210052;
constexpr std::uint32_t RELOAD_COMMAND = 0x210061;
constexpr std::uint32_t STATUS_COMMAND = 0x210062;

constexpr std::size_t NE_MISSION_MOST_NES = 10000;

// The code of a mission, beside 0 and the refusal codes of conf/mutex.cfg.
constexpr std::uint32_t NE_MISSION_ERR_CANCELED = 0x42012001;
constexpr std::uint32_t NE_MISSION_ERR_TIMEOUT = 0x42012002;
constexpr std::uint32_t NE_MISSION_ERR_STOPPING = 0x42012003;     // the server is told to end
constexpr std::uint32_t NE_MISSION_ERR_CLIENT_GONE = 0x42012004;  // nobody waits any more; seen in logs only
constexpr std::uint32_t NE_MISSION_ERR_BAD_NES = 0x42012005;      // no NE, one that is none, or too many
constexpr std::uint32_t NE_MISSION_ERR_FAILED = 0x42012006;       // all NEs were worked on, some have errors
constexpr std::uint32_t NE_MISSION_ERR_PARTS = 0x42012007;        // parts were not done
constexpr std::uint32_t NE_MISSION_ERR_NO_TOPOLOGY = 0x42012008;  // the topology service does not answer
constexpr std::uint32_t NE_MISSION_ERR_UPLOADING = 0x42012011;    // refused: an upload of one of the NEs runs
constexpr std::uint32_t NE_MISSION_ERR_RESETTING = 0x42012012;    // refused: a reset of one of the NEs runs

// Of a part, in its process's place.
constexpr std::uint32_t NE_PART_ERR_NO_MANAGER = 0x42012021;  // no NE manager for these NEs runs
constexpr std::uint32_t NE_PART_ERR_ENDED = 0x42012022;       // the NE manager ended, or was started anew
constexpr std::uint32_t NE_PART_ERR_SILENT = 0x42012023;      // it gave no sign of life for too long
constexpr std::uint32_t NE_PART_ERR_REFUSED = 0x42012024;     // it did not take its part

// Errors of one NE, beside those of ne_oper_codes.h.
constexpr std::uint32_t NE_ERR_UNKNOWN = 0x42012031;      // the topology service does not know it
constexpr std::uint32_t NE_ERR_NOT_WRITTEN = 0x42012032;  // its configuration could not be written as a file
constexpr std::uint32_t NE_ERR_NOT_FETCHED = 0x42012033;  // or fetched from the NE manager
constexpr std::uint32_t NE_ERR_BUSY = 0x42012034;         // another EMS works on it

// Of a reload, which then has changed nothing.
constexpr std::uint32_t RELOAD_ERR_LANGUAGE = 0x42012041;  // no such language, or no texts of it
constexpr std::uint32_t RELOAD_ERR_SWITCHES = 0x42012042;  // the debug switches
constexpr std::uint32_t RELOAD_ERR_MUTEX = 0x42012043;     // the operations that exclude each other
