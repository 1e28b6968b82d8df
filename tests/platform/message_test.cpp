#include <cstring>

#include "tests/test_base.h"

TEST(Message, OnlyExactFramesComeInFromOutside) {
  const std::tuple<std::size_t, std::uint8_t, std::uint32_t, bool, const char*> rows[] = {
      // size, format, length
      {50, 10, 2, true, "no payload"},
      {53, 10, 5, true, "three bytes of payload"},
      {0, 10, 2, false, "nothing received"},
      {49, 10, 2, false, "header cut"},
      {50, 9, 2, false, "foreign format mark"},
      {50, 10, 0, false, "length below its own minimum"},
      {50, 10, 1, false, "length below its own minimum"},
      {52, 10, 5, false, "payload cut"},
      {54, 10, 5, false, "bytes behind the payload"},
      {50 + 0xFFFF, 10, 0xFFFFFFFF, false, "length at its maximum"},
  };
  for (const auto& [size, format, length, accepted, why] : rows) {
    std::string bytes(std::max<std::size_t>(size, VELA_MSG_HEADER), 'x');
    bytes[0] = static_cast<char>(format);
    std::memcpy(bytes.data() + offsetof(VelaCmdMSG, length), &length, sizeof length);
    const VelaMsgPtr msg = VelaMsgFromBytes(bytes.data(), size);
    ASSERT_EQ(accepted, msg != nullptr) << why;
    EXPECT_TRUE(!msg || std::memcmp(bytes.data(), msg.get(), size) == 0);
  }
  EXPECT_EQ(nullptr, VelaMsgFromBytes(nullptr, 50));
}

TEST(Message, AllocationRefusesWhatItCannotGive) {
  EXPECT_EQ(nullptr, VelaAllocMsg(49));
  EXPECT_EQ(nullptr, VelaAllocMsg(~std::size_t{0}));
  const auto noMemory = NoMemory();
  EXPECT_EQ(nullptr, VelaAllocMsg(50));
}
