#include "util/basicutil/export.h"
