#pragma once
#include "apps/common/asn_values.h"

namespace velactl {

using apps::Bytes;
using apps::HexCode;
using apps::Number;
using apps::NumberText;
using apps::Process;
using apps::Signed;
using apps::Unsigned;

}  // namespace velactl
