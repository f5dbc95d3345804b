#include "platform/Presence.h"

namespace System {

constinit thread_local const CPresence* CPresence::s_innermost = nullptr;

} // namespace System
