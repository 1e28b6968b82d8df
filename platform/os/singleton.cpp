#include "platform/os/singleton.h"

#include <ace/Object_Manager.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Static_Object_Lock.h>

namespace vela {

bool LockStaticObjects() {
  return ACE_Static_Object_Lock::instance()->acquire() == 0;
}

void UnlockStaticObjects() {
  ACE_Static_Object_Lock::instance()->release();
}

}  // namespace vela
