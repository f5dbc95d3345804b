#include "platform/PlatformResource.h"

#include "platform/OutputMessage.h"

int CPlatformResource::Initialize() {
    if (m_initialised.exchange(true)) {
        COutputMessage::Warning("Already Initialized");
        return 1;
    }
    return 0;
}

int CPlatformResource::Destroy() {
    m_initialised = false;
    return 0;
}
