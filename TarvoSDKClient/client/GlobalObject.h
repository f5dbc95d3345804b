// The process-wide objects that every client shares.
#ifndef TARVO_CLIENT_GLOBAL_OBJECT_H
#define TARVO_CLIENT_GLOBAL_OBJECT_H

#include "client/FrameCache.h"
#include "platform/PlatformResource.h"
#include "platform/Singletons.h"
#include "platform/SocketFacade.h"

// Reached through CommonKit::TSingletons<CGlobalObject>::Instance(). Callable from any thread.
class CGlobalObject {
public:
    CPlatformResource& Platform() { return m_platform; }
    System::CSocketFacade& SocketFacade() { return m_socketFacade; }

    // Writes the library's version, 4 bytes.
    void GetVersion(unsigned char* version) const;

    // True when the oldest frame had to go for it.
    bool writeCache(sFrameOfMocapData* frame) { return m_frameCache.write(frame); }
    sFrameOfMocapData* readCache() { return m_frameCache.read(); }

    // The one virtual operation, which makes the object polymorphic. Does nothing; nobody calls it.
    virtual void OnGlobal() {}

private:
    CPlatformResource m_platform;
    System::CSocketFacade m_socketFacade;
    CFrameCache m_frameCache;
};

#endif
