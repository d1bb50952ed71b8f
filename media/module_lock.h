// The count of live objects that keep the module loaded: every tree node and every component object
// takes one lock for its lifetime, and the server answers "can unload" only while the count is 0.
#pragma once

#include <cstdint>

void ModuleLock();
void ModuleUnlock();
int32_t ModuleLockCount();
