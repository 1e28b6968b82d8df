#pragma once
#include <compare>
#include <cstdint>

// A server process: number (what it does) and handle (which instance). Handle 0 or above 10000 means any
// instance.
class CProcID {
 public:
  constexpr CProcID() = default;
  constexpr CProcID(std::uint16_t number, std::uint16_t handle) : m_number(number), m_handle(handle) {}
  // Lower 16 bits number, upper 16 bits handle.
  constexpr explicit CProcID(std::uint32_t value)
      : m_number(static_cast<std::uint16_t>(value)), m_handle(static_cast<std::uint16_t>(value >> 16)) {}

  constexpr std::uint16_t Number() const { return m_number; }
  constexpr std::uint16_t Handle() const { return m_handle; }
  constexpr std::uint32_t Value() const { return (std::uint32_t{m_handle} << 16) | m_number; }
  constexpr bool IsAnyInstance() const { return m_handle == 0 || m_handle > 10000; }

  // NOLINTNEXTLINE(modernize-use-nullptr): clang-tidy 14 trips over it
  friend constexpr auto operator<=>(const CProcID&, const CProcID&) = default;

 private:
  std::uint16_t m_number = 0;
  std::uint16_t m_handle = 0;
};

// A client as the platform names it: its process number, and a second word whose upper half is the handle.
struct TEClientID {
  std::uint16_t processId = 0;
  std::uint32_t second = 0;
};

// The broadcast group of all clients: a frame to this number and any instance reaches each of them.
constexpr std::uint16_t VELA_CLIENT_GROUP = 3003;
