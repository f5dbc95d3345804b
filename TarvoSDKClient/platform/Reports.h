// The house formats of the log: one function for each, so that every report reads in the same words. The
// line number is that of the statement that reports, which tells the report sites apart.
#ifndef TARVO_PLATFORM_REPORTS_H
#define TARVO_PLATFORM_REPORTS_H

namespace Report {

// An operation gave up for a reason that has no system error. Info.
void Failed(int line = __builtin_LINE());

// An object that is already created is created again. Info.
void Warning(int line = __builtin_LINE());

// A system call failed where no socket is involved. Error.
void SystemError(int error, int line = __builtin_LINE());

// A system call on a given socket failed. Error.
void SocketError(int socket, int error, int line = __builtin_LINE());

// A number says what was wrong. Info.
void Number(unsigned int value, int line = __builtin_LINE());

// A word says what was wrong. Info.
void Text(const char* text, int line = __builtin_LINE());

// A text and a number say what was wrong. Info.
void TextAndNumber(const char* text, int value, int line = __builtin_LINE());

// The socket facade closes a socket. Info.
void Closing(int socket, int line = __builtin_LINE());

// A client is shut down in a callback of its own. Error.
void ShutDownInCallback();

// The interface that was chosen for the stream is none of this host, or cannot be joined. Error.
void NoInterface(const char* nameOrAddress);

// A connect with timeout timed out or failed. Error.
void ConnectFailed(const char* address, unsigned int port, unsigned int timeoutMs, int error,
                   int line = __builtin_LINE());

} // namespace Report

#endif
