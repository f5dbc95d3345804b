// The system's resources under the test's control, and a server that answers from a thread of its own. One use of
// one resource fails, and what is in use is counted: this stands in for the allocation functions, and by the
// linker's wrapping for the library's calls of the system. For one source file of a program.
#ifndef TESTS_EXHAUSTION_EXHAUSTION_H
#define TESTS_EXHAUSTION_EXHAUSTION_H

#include <sys/resource.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <thread>

#include "TarvoStream.h"
#include "support/ScriptedServer.h"

static std::atomic<const char*> armed{""}; // the resource of which a use fails
static std::atomic<int> left{0};           // after so many others, by whatever thread
static std::atomic<bool> fired{false};
static std::atomic<long> blocks{0};      // on the heap, without those of exempt threads
static thread_local bool exempt = false; // the thread is the test's: nothing fails

static bool Is(const char* one, const char* other) { return std::strcmp(one, other) == 0; }
static bool Strikes(const char* resource) {
    if (exempt || !Is(armed, resource) || left-- != 0) return false;
    errno = ENOBUFS;
    return fired = true;
}
static void* Take(std::size_t size, bool mayThrow = true) {
    if (Strikes("memory")) return mayThrow ? throw std::bad_alloc() : nullptr;
    return blocks += exempt ? 0 : 1, std::malloc(size);
}
static void Give(void* memory) { blocks -= memory == nullptr || exempt ? 0 : 1, std::free(memory); }

void* operator new(std::size_t size) { return Take(size); }
void* operator new[](std::size_t size) { return Take(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Take(size, false); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Take(size, false); }
void operator delete(void* memory) noexcept { Give(memory); }
void operator delete[](void* memory) noexcept { Give(memory); }
void operator delete(void* memory, std::size_t) noexcept { Give(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Give(memory); }

// What a socket cannot serve without, what it needs beside others on its port, and what only makes it better.
static const char* KindOf(int level, int option, const void* value) {
    // The stream of a server on this host is joined twice; choosing an interface matters for the first time only.
    in_addr interface { INADDR_NONE };
    if (level == IPPROTO_IP && option == IP_MULTICAST_IF) std::memcpy(&interface, value, sizeof interface);
    if (interface.s_addr == INADDR_ANY) return "joining";
    return level == SOL_SOCKET && option == SO_REUSEADDR ? "sharing" : "tuning";
}
// A text or a greeting, whose arrival nobody waits for, or a request.
static const char* KindOf(const void* datagram) {
    const int type = static_cast<const unsigned char*>(datagram)[8];
    return type == 8 || type == 106 ? "message" : "request";
}

// The linker knows the system's call as __real_NAME and sends the program's calls to __wrap_NAME.
#define STAND_IN(resource, Type, Name, failure, parameters, arguments) \
    Type Real_##Name parameters asm("__real_" #Name);                  \
    Type Wrap_##Name parameters asm("__wrap_" #Name);                  \
    Type Wrap_##Name parameters { return Strikes(resource) ? (failure) : Real_##Name arguments; }
using To = const sockaddr*;
STAND_IN("thread", int, pthread_create, EAGAIN,
         (pthread_t * t, const pthread_attr_t* a, void* (*w)(void*), void* p), (t, a, w, p))
STAND_IN("mutex", int, pthread_mutex_init, ENOMEM, (pthread_mutex_t * m, const pthread_mutexattr_t* a), (m, a))
STAND_IN("condition", int, pthread_cond_init, ENOMEM, (pthread_cond_t * c, const pthread_condattr_t* a), (c, a))
STAND_IN("socket", int, socket, -1, (int domain, int type, int protocol), (domain, type, protocol))
STAND_IN(KindOf(l, o, v), int, setsockopt, -1, (int s, int l, int o, const void* v, socklen_t n), (s, l, o, v, n))
STAND_IN("bind", int, bind, -1, (int s, To address, socklen_t size), (s, address, size))
STAND_IN(KindOf(d), ssize_t, sendto, -1, (int s, const void* d, size_t n, int f, To to, socklen_t m),
         (s, d, n, f, to, m))

inline long Entries(const char* path) { return std::distance(std::filesystem::directory_iterator(path), {}); }

// Heap blocks, descriptors and, as soon as there are so many, threads: a joined one may be listed a moment more.
inline std::array<long, 3> InUse(long threads) {
    Eventually([=] { return Entries("/proc/self/task") == threads; });
    return {blocks, Entries("/proc/self/fd"), Entries("/proc/self/task")};
}

inline char host[] = "127.00000000000.0.1"; // longer than what a string keeps without the heap

int SocketOf(ScriptedServer& server);
template <auto Member>
struct Opened {
    friend int SocketOf(ScriptedServer& server) { return server.*Member; }
};
template struct Opened<&ScriptedServer::m_socket>;

struct AnsweringServer : ScriptedServer {
    // Requests from this type on wait for their answer for ever.
    explicit AnsweringServer(int firstSilent = 256) : silent(firstSilent) {}

    void SendFrame() {
        exempt = true;
        Multicast(Frame());
        exempt = false;
    }

    // A reply that the client lost by a fault is sent again as long as the client asks nothing more.
    void Answer(const std::stop_token& over) {
        exempt = true;
        const timeval idle{0, 20000};
        setsockopt(SocketOf(*this), SOL_SOCKET, SO_RCVTIMEO, &idle, sizeof idle);
        for (unsigned char wire[2048]; !over.stop_requested();) {
            socklen_t size = sizeof last.from;
            auto* const from = reinterpret_cast<sockaddr*>(&last.from);
            const bool asked = recvfrom(SocketOf(*this), wire, sizeof wire, 0, from, &size) >= 16;
            if (asked) std::memcpy(&last.sequence, &wire[12], sizeof last.sequence), type = wire[8];
            if (last.sequence == 0 || (!asked && (!fired || !Is(armed, "memory")))) continue;
            unanswered += type >= silent ? 1 : 0;
            if (type < silent)
                Reply(last, type == 0 ? 1 : 7, type == 0 ? kAccepted : type == 104 ? Bytes(40, 'a') : List());
        }
    }

    // With every kind of array.
    static Bytes Frame() {
        Body body;
        body.U32(1, 1).Fill(256).U32(2).Fill(24).U32(300).Fill(3600).U32(1, 9).Fill(28).U32(2).Fill(46);
        return body.U32(1, 7, 1, 9).Fill(28).U32(2).Fill(46).U32(0, 0).Fill(22).bytes;
    }
    // With every type of record; serves as a server description too.
    static Bytes List() {
        Body body;
        body.U32(5, 0, 2).Fill(768).U32(1).Fill(292).U32(2).Fill(256).U32(7, 1).Fill(292).U32(3).Fill(8584);
        return body.U32(4, 2).Fill(280).bytes;
    }

    const int silent;
    Request last;
    int type = 0;
    std::atomic<int> unanswered{0};
    std::jthread thread{[this](const std::stop_token& over) { Answer(over); }};
};

#endif
