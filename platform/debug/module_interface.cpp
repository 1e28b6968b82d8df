#include "platform/debug/module_interface.h"

ModuleInterface::~ModuleInterface() = default;
