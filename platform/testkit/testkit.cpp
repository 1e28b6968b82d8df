#include "platform/testkit/testkit.h"
