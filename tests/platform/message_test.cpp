#include <gtest/gtest.h>

#include <cstring>

#include "platform/message/vela_cmd_msg.h"
#include "platform/testkit/testkit.h"

TEST(Message, OnlyExactFramesComeInFromOutside) {
  struct Row {
    std::size_t size;
    std::uint8_t format;
    std::uint32_t length;
    bool accepted;
    const char* why;
  };
  const Row rows[] = {
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
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    std::string bytes(std::max<std::size_t>(row.size, VELA_MSG_HEADER), 'x');
    bytes[0] = static_cast<char>(row.format);
    std::memcpy(bytes.data() + offsetof(VelaCmdMSG, length), &row.length, sizeof row.length);
    const VelaMsgPtr msg = VelaMsgFromBytes(bytes.data(), row.size);
    ASSERT_EQ(row.accepted, msg != nullptr);
    EXPECT_TRUE(!msg || std::memcmp(bytes.data(), msg.get(), row.size) == 0);
  }
  EXPECT_EQ(nullptr, VelaMsgFromBytes(nullptr, 50));
}

TEST(Message, AllocationRefusesWhatItCannotGive) {
  EXPECT_EQ(nullptr, VelaAllocMsg(49));
  EXPECT_EQ(nullptr, VelaAllocMsg(~std::size_t{0}));
  const testkit::OsFaults noMemory([](vela::OsCall call, const char*) {
    return vela::OsFault{call == vela::OsCall::allocate ? ENOMEM : 0, -1};
  });
  EXPECT_EQ(nullptr, VelaAllocMsg(50));
}
