#include <cstring>

#include "tests/test_base.h"

TEST(Message, OnlyExactFramesComeInFromOutside) {
  const std::tuple<std::size_t, std::uint8_t, std::uint32_t, bool> rows[] = {
      // size, format, length
      {50, 10, 2, true},  {53, 10, 5, true},  {0, 10, 2, false},
      {49, 10, 2, false},                                          // header cut
      {50, 9, 2, false},  {50, 10, 0, false}, {50, 10, 1, false},  // foreign format; below the minimum
      {52, 10, 5, false}, {54, 10, 5, false}, {50 + 0xFFFF, 10, 0xFFFFFFFF, false}};
  for (const auto& [size, format, length, accepted] : rows) {
    SCOPED_TRACE(testing::Message() << size << ' ' << length);
    std::string bytes(std::max<std::size_t>(size, VELA_MSG_HEADER), 'x');
    bytes[0] = static_cast<char>(format);
    std::memcpy(bytes.data() + offsetof(VelaCmdMSG, length), &length, sizeof length);
    const VelaMsgPtr msg = VelaMsgFromBytes(bytes.data(), size);
    ASSERT_EQ(accepted, msg != nullptr);
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
