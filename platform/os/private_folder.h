#pragma once
#include <string>

#include "platform/os/file_descriptor.h"

namespace vela {

// Opens a folder of this user alone; it is made, with the folders on the way to it, where it is missing. What
// the last part of the path names must be a folder itself, not a link. Invalid, and the reason, when it
// cannot be made, belongs to somebody else or others may write to it. Any thread. Internal.
FileDescriptor OpenPrivateFolder(std::string path, std::string& error);

}  // namespace vela
