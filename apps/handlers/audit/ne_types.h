#pragma once
#include <string>

#include "apps/handlers/audit/audit_rules.h"

namespace velad {

// Reads the table of types: lines "TYPE = lowest version". False with `reason`, one line that names the file,
// when it cannot be read, holds no type, a type twice or a version that is none.
bool LoadNETypes(const std::string& file, NETypes& types, std::string& reason);

}  // namespace velad
