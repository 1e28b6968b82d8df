#pragma once
#include <cstdint>

// The codes of the messages of spread.asn1: what all sides know beside the ASN.1 types.

constexpr std::uint32_t SPREAD_COMMAND = 0x210021;
constexpr std::uint32_t SPREAD_PIECE_COMMAND = 0x210022;
constexpr std::uint32_t SPREAD_PIECE_END_COMMAND = 0x210023;
constexpr std::uint32_t SPREAD_END_COMMAND = 0x210024;
constexpr std::uint32_t MISSION_LIST_COMMAND = 0x210025;

// AsnSpreadReq::onFailure
enum class OnPartFailure : int { goOn = 0, move = 1, stop = 2 };

// Why a mission was not begun, or did not check everything.
constexpr std::uint32_t SPREAD_ERR_NO_WORKERS = 0x42011001;  // the owner's configuration names no process
constexpr std::uint32_t SPREAD_ERR_TWICE = 0x42011002;       // the client has that mission already
constexpr std::uint32_t SPREAD_ERR_PARTS = 0x42011003;       // parts have failed
constexpr std::uint32_t SPREAD_ERR_SILENT = 0x42011004;      // of a part: no sign of life for too long
constexpr std::uint32_t SPREAD_ERR_EMPTY = 0x42011005;       // there is nothing to check
