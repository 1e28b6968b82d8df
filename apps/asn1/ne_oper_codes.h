#pragma once
#include <cstddef>
#include <cstdint>

// The codes of operations on NEs: what both sides know beside the ASN.1 types of ne_oper.asn1. The command
// codes are also the operation codes of conf/mutex.cfg.

constexpr std::uint32_t NE_CONFIGURE_COMMAND = 0x210011;  // 2162705
constexpr std::uint32_t NE_INSPECT_COMMAND = 0x210012;    // 2162706

constexpr std::size_t NE_OPER_MOST_NES = 10000;
constexpr int NE_OPER_MOST_SECONDS = 86400;

// The code of the whole operation (AsnErrRsp::errorCode), beside 0 and the refusal codes of conf/mutex.cfg.
// With all but NE_OPER_ERR_FAILED, one error of the list has that code too and says in its text why.
constexpr std::uint32_t NE_OPER_ERR_CANCELED = 0x42010201;
constexpr std::uint32_t NE_OPER_ERR_TIMEOUT = 0x42010202;
constexpr std::uint32_t NE_OPER_ERR_STOPPING = 0x42010203;     // the server is told to end
constexpr std::uint32_t NE_OPER_ERR_FAULTS = 0x42010204;       // the server cannot read its planned faults
constexpr std::uint32_t NE_OPER_ERR_CLIENT_GONE = 0x42010205;  // nobody waits any more; seen in logs only
constexpr std::uint32_t NE_OPER_ERR_BAD_NES = 0x42010206;      // no NE, one that is none, or too many
constexpr std::uint32_t NE_OPER_ERR_FAILED = 0x42010207;       // worked on all; some have errors
constexpr std::uint32_t NE_OPER_ERR_OMITTED = 0x42010208;  // an error: more errors than the answer can carry

// Errors of NEs, of their boards and ports. Their objects are (NE, slot, port).
constexpr std::uint32_t NE_ERR_LOST = 0x42010221;
constexpr std::uint32_t BOARD_ERR_MISSING = 0x42010222;
constexpr std::uint32_t BOARD_ERR_MEMORY = 0x42010223;
constexpr std::uint32_t PORT_ERR_BUSY = 0x42010224;  // has a text: what the port carries
constexpr std::uint32_t PORT_ERR_SILENT = 0x42010225;
