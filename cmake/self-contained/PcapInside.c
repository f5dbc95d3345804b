/* What Debian's archive of libpcap lacks to be part of a shared library. */
#include <stddef.h>
#include <stdio.h>

/* It is compiled for programs, which have their own copies of the C library's streams: these are the library's,
 * there before anything is constructed. The linker's --wrap takes them for the others. */
extern FILE* __real_stdin;
extern FILE* __real_stdout;
extern FILE* __real_stderr;
FILE* __wrap_stdin;
FILE* __wrap_stdout;
FILE* __wrap_stderr;

__attribute__((constructor(101))) static void CopyStreams(void) {
    __wrap_stdin = __real_stdin;
    __wrap_stdout = __real_stdout;
    __wrap_stderr = __real_stderr;
}

/* The kinds of live capture that would draw in libraries of their own, D-Bus and RDMA: there are none here. What
 * is defined here is not looked for in the archive. */
typedef struct pcap pcap_t;

pcap_t* dbus_create(const char* device, char* error, int* isOurs) {
    (void)device;
    (void)error;
    *isOurs = 0;
    return NULL;
}

int dbus_findalldevs(void* devices, char* error) {
    (void)devices;
    (void)error;
    return 0;
}

pcap_t* rdmasniff_create(const char* device, char* error, int* isOurs) {
    return dbus_create(device, error, isOurs);
}

int rdmasniff_findalldevs(void* devices, char* error) { return dbus_findalldevs(devices, error); }
