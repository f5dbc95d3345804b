// The leveled log: every layer reports through it, and what passes the level reaches the application's
// log callback. Process-wide and static; callable from any thread.
#ifndef TARVO_PLATFORM_OUTPUT_MESSAGE_H
#define TARVO_PLATFORM_OUTPUT_MESSAGE_H

// Both the kind of a message and the level: a message passes when the level is at least its kind, so at
// levels 1 and 2 an Error is dropped while an Info passes. Any integer is a valid level.
enum Verbosity : int {
    Verbosity_None = 0,
    Verbosity_Info = 1,
    Verbosity_Warning = 2,
    Verbosity_Error = 3,
    Verbosity_Debug = 4,
};

// Texts are formatted by the printf rules into 1024 bytes on the stack: longer ones are cut to 1023
// characters. Nothing is formatted for a message that does not pass.
class COutputMessage {
public:
    static int SetLevel(Verbosity level); // 0

    // 0 when filtered out, otherwise what the callback registry returns.
    static int Debug(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static int Info(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static int Warning(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static int Error(const char* format, ...) __attribute__((format(printf, 1, 2)));

    // Writes the text to standard output, whatever the level. 0.
    static int Output(const char* format, ...) __attribute__((format(printf, 1, 2)));
};

#endif
