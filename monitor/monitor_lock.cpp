#include "monitor/monitor_lock.h"

namespace velmora {

CriticalSection& monitorLock() {
    static CriticalSection lock;
    return lock;
}

}  // namespace velmora
