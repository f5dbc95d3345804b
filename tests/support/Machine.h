// Machines with networks of their own, between which a test lays cables.
#ifndef TESTS_SUPPORT_MACHINE_H
#define TESTS_SUPPORT_MACHINE_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <cstdio>
#include <string>

// The network namespace in which the calling thread is. Sockets stay where they were made.
struct Namespace {
    ~Namespace() { close(handle); }
    void Enter() const { EXPECT_EQ(setns(handle, CLONE_NEWNET), 0); }
    std::string Path() const { return "/proc/$PPID/fd/" + std::to_string(handle); } // for Shell
    const int handle = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
};

// One that is new; the thread leaves it at the end.
struct Machine {
    ~Machine() { former.Enter(); }
    const Namespace former{};
    const int made = unshare(CLONE_NEWNET);
    const Namespace own{};
};

// Commands on the machine in which the calling thread is.
inline void Shell(const std::string& commands) {
    ASSERT_EQ(pclose(popen(("set -e\n" + commands).c_str(), "w")), 0) << commands;
}

// An interface of this machine beside the loopback one, with the address 10.7.0.1.
inline void MakeInterface(const std::string& name) {
    Shell("ip link add " + name + " type veth peer name other; ip link set other up; ip link set " + name +
          " up; ip address add 10.7.0.1/24 dev " + name);
}

#endif
