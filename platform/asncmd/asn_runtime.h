#pragma once
// The ASN.1 runtime with its warnings kept away from ours.
#pragma GCC system_header
#include <asn-incl.h>
#include <asn-listset.h>

#include "platform/asncmd/asn_fwd.h"
