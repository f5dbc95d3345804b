/* Recordings for the Python package: what velmar export reads, as arrays. C, for ctypes.
 *
 * A take is made, opened once, filled from its first frame to its last one, and closed. One thread at a time may
 * have it, beside VelmarTake_Stop. */
#ifndef VELMAR_PYTHON_TAKE_INTERFACE_H
#define VELMAR_PYTHON_TAKE_INTERFACE_H

#include <stdint.h>

#include "TarvoSDKClient.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct VelmarTake VelmarTake;

/* Which moment of a recording a limit means. */
enum { VelmarTakePoint_None = 0, VelmarTakePoint_Number = 1, VelmarTakePoint_Seconds = 2 };

typedef struct VelmarTakeOptions {
    int32_t fromKind; /* a VelmarTakePoint */
    int32_t toKind;
    double from; /* the number of a frame, or seconds since the first one; both limits are in the take */
    double to;
    int64_t unloadedFirst; /* the frames whose mean tells what plates read unloaded; last below first: none */
    int64_t unloadedLast;
    double rate; /* frames a second; 0: what the recording says */
} VelmarTakeOptions;

/* Where the frames go: each array has room for the slots that are asked for, row by row; C order. What a slot
 * lacks is not a number. */
typedef struct VelmarTakeArrays {
    int64_t* number;         /* (slots): of a lost frame the one that it would have had */
    int64_t* arrivalNs;      /* (slots): wall clock; 0 for a lost frame */
    uint8_t* isPresent;      /* (slots): 0 for a lost frame */
    float* markers;          /* (slots, markers, 3) */
    float* position;         /* (slots, rigid bodies and then bones, 3) */
    float* orientation;      /* (slots, rigid bodies and then bones, 4) */
    float* residual;         /* (slots, rigid bodies and then bones) */
    float* force;            /* (slots, plates, 3) */
    float* centerOfPressure; /* (slots, plates, 3) */
    float* freeMoment;       /* (slots, plates) */
    float* analog;           /* (slots, channels) */
} VelmarTakeArrays;

/* Null when memory ran out. */
TARVO_API VelmarTake* VelmarTake_New(void);

/* Reads through a recording. 0; 1: VelmarTake_Error says why not. */
TARVO_API int VelmarTake_Open(VelmarTake* take, const char* path, const VelmarTakeOptions* options);

/* From any thread: what reads, and what will read, ends soon with an error. */
TARVO_API void VelmarTake_Stop(VelmarTake* take);

/* A line about the call that has failed, the take's own. */
TARVO_API const char* VelmarTake_Error(const VelmarTake* take);

/* Of an open take, and its own until it is closed: a JSON object with its labels, counts and properties; the
 * server's description of itself, zero when there is none; the data descriptions, null when there are none. */
TARVO_API const char* VelmarTake_Describe(const VelmarTake* take);
TARVO_API const sServerDescription* VelmarTake_Server(const VelmarTake* take);
TARVO_API const sDataDescriptions* VelmarTake_Descriptions(const VelmarTake* take);

/* Fills the next slots of an open take, and tells how many: fewer than asked for at the end only. -1:
 * VelmarTake_Error says what is wrong. */
TARVO_API int64_t VelmarTake_Fill(VelmarTake* take, int64_t slots, const VelmarTakeArrays* arrays);

TARVO_API void VelmarTake_Close(VelmarTake* take);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
