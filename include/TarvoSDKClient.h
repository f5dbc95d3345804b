/** @file
 * The whole public surface of libvelmar_sdk, usable from C11 and from C++. */
/** @mainpage
 * libvelmar_sdk is the client library of a real-time motion-capture server. Its one header,
 * TarvoSDKClient.h, has the records of a frame and of the data descriptions, the class TarvoSDKClient,
 * and the same service as plain functions that take a client handle.
 *
 * ## Result codes
 * Unless a function says otherwise:
 * | code | meaning |
 * |------|---------|
 * | 0    | success |
 * | 1    | the operation failed |
 * | 2    | no client (null handle), or a null record at a free or copy function |
 * | 10   | the server does not support this library's version, or no server has accepted it yet |
 *
 * The timecode functions return 1 for success and 0 for a bad argument.
 *
 * ## Units
 * Times are milliseconds. Positions, orientations and sizes are the server's: the library carries these numbers
 * unchanged and computes only the force-plate records. Nothing in the protocol binds a server to a unit or an
 * order. What this header and the tool velmar go by is the convention of the simulated server that comes with it:
 * metres in right-handed axes of the capture volume with z up, orientations as unit quaternions in the order x, y,
 * z, w, marker sizes as diameters, residuals as mean distances, and the timecode with 30 frames a second.
 *
 * ## Global and local
 * By the same convention positions and orientations in frames are global, those of bones too: in the volume's
 * axes, never relative to a parent. An orientation turns the body's own axes into the volume's. Descriptions
 * tell what is local (see sRigidBodyInfo): each bone's parent, and its offset from it in the parent's own axes. A
 * bone that keeps its length is there in every frame, from its parent's sample and its own offset:
 * @code
 * const float *p = parent->position, *q = parent->orientation, *o = offset;
 * const float t[3] = {q[1] * o[2] - q[2] * o[1], q[2] * o[0] - q[0] * o[2], q[0] * o[1] - q[1] * o[0]};
 * const float u[3] = {q[1] * t[2] - q[2] * t[1], q[2] * t[0] - q[0] * t[2], q[0] * t[1] - q[1] * t[0]};
 * for (int i = 0; i < 3; ++i) position[i] = p[i] + o[i] + 2 * (q[3] * t[i] + u[i]);
 * @endcode
 * Its orientation relative to the parent is the parent's conjugate, (-x, -y, -z, w), times its own.
 *
 * ## Threads
 * One client may be used from several threads, except that starting, stopping, setting callbacks and
 * destroying it are for one thread at a time. Callbacks run on library threads, with no lock of the library
 * held; they must return soon (frames wait in the socket meanwhile) and must not call Uninitialize,
 * DestroyClient or the destructor of their own client, nor wait for a query on it.
 */
#ifndef TARVO_SDK_CLIENT_H
#define TARVO_SDK_CLIENT_H

#include <stdint.h>

#if defined(__GNUC__)
#define TARVO_API __attribute__((visibility("default")))
#else
#define TARVO_API
#endif

/** @defgroup bounds Bounds of the records
 * @{ */

enum {
    TARVO_NAME_SIZE = 256,              /**< bytes of a name buffer; not necessarily zero-terminated */
    TARVO_MAX_MARKER_SETS = 200,        /**< marker sets of a frame */
    TARVO_MAX_SET_MARKERS = 200,        /**< markers of one marker set */
    TARVO_MAX_OTHER_MARKERS = 1000,     /**< unlabelled markers of a frame */
    TARVO_MAX_RIGID_BODIES = 1000,      /**< rigid bodies of a frame, outside skeletons */
    TARVO_MAX_BODY_MARKERS = 200,       /**< markers of one rigid body */
    TARVO_MAX_SKELETONS = 100,          /**< skeletons of a frame */
    TARVO_MAX_SKELETON_BODIES = 200,    /**< rigid bodies (bones) of one skeleton */
    TARVO_MAX_LABELED_MARKERS = 1000,   /**< labelled markers of a frame */
    TARVO_MAX_ANALOG_VALUES = 32,       /**< analog channels of a frame */
    TARVO_MAX_DESCRIPTIONS = 200,       /**< entries of a description list */
    TARVO_MAX_FORCE_PLATES = 8,         /**< plates of a force-plate record */
    TARVO_SERVER_DESCRIPTION_SIZE = 525 /**< bytes of a server description */
};

/** @} */
/** @defgroup frame A frame
 * @{ */

/** A position: x, y, z in the server's length unit. 12 bytes. */
typedef struct sTriple {
    float x; /**< along the volume's first axis */
    float y; /**< along its second */
    float z; /**< along its third */
} sTriple;

/** One named marker set of a frame. */
typedef struct sMarkerSetSample {
    char name[TARVO_NAME_SIZE]; /**< copied whole; not necessarily zero-terminated */
    int32_t markerCount;        /**< 0..200 */
    sTriple* markers;           /**< [markerCount], owned by the frame */
} sMarkerSetSample;

/** One rigid body, of a frame or of a skeleton (then also called a bone); by convention its pose is global. */
typedef struct sRigidBodySample {
    int32_t id;               /**< given by the server */
    float position[3];        /**< x, y, z in the server's length unit */
    float orientation[4];     /**< quaternion; by convention of unit length, x, y, z, w */
    int32_t markerCount;      /**< 0..200 */
    sTriple* markerPositions; /**< [markerCount], owned by the frame */
    int32_t* markerIds;       /**< [markerCount], owned by the frame */
    float* markerSizes;       /**< [markerCount], by convention diameters, owned by the frame */
    float residual;           /**< of the fit; by convention the mean distance, in the server's length unit */
    uint16_t flags;           /**< the server's flag word */
#ifdef __cplusplus
    /** Leaves the values uninitialised; only what decides over releasing is set. */
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
    sRigidBodySample() : markerPositions(nullptr), markerIds(nullptr), markerSizes(nullptr), flags(0) {}
#endif
} sRigidBodySample;

/** One skeleton of a frame. */
typedef struct sSkeletonSample {
    int32_t id;                    /**< given by the server */
    int32_t rigidBodyCount;        /**< 0..200 */
    sRigidBodySample* rigidBodies; /**< [rigidBodyCount], owned by the frame; null when the count is 0 */
} sSkeletonSample;

/** One labelled marker as the server sends it; the library interprets none of the words. */
typedef struct sLabeledMarkerSample {
    uint32_t words[6]; /**< as sent */
} sLabeledMarkerSample;

/** One frame of motion-capture data.
 *
 * Ownership: a frame handed to the frame callback, and every array in it, belongs to the library and
 * is valid during the call; keep one by copying it (Quorin_CopyFrame). The record returned by
 * GetLastFrameOfMocapData belongs to the library too, but its arrays are released by the application
 * (TarvoFreeFrame) before it reads the next frame. An array whose count is 0 holds nothing to read and
 * is never to be released, null or not. */
typedef struct sFrameOfMocapData {
    int32_t frameNumber;                                /**< given by the server */
    int32_t markerSetCount;                             /**< 0..200 */
    sMarkerSetSample markerSets[TARVO_MAX_MARKER_SETS]; /**< the first markerSetCount */
    int32_t otherMarkerCount;                           /**< 0..1000 */
    sTriple* otherMarkers;  /**< [otherMarkerCount], unlabelled markers, owned by the frame */
    int32_t rigidBodyCount; /**< 0..1000 */
    sRigidBodySample rigidBodies[TARVO_MAX_RIGID_BODIES]; /**< the first rigidBodyCount */
    int32_t skeletonCount;                          /**< 0..100; a server may send a negative count for none */
    sSkeletonSample skeletons[TARVO_MAX_SKELETONS]; /**< the first skeletonCount */
    int32_t labeledMarkerCount;                     /**< 0..1000 */
    sLabeledMarkerSample labeledMarkers[TARVO_MAX_LABELED_MARKERS]; /**< the first labeledMarkerCount */
    int32_t analogCount;                                            /**< 0..32 */
    float analogValues[TARVO_MAX_ANALOG_VALUES]; /**< without the channels of computed force plates */
    uint32_t timecode;                           /**< hours, minutes, seconds, frames: a byte each, hours on top */
    uint32_t timecodeSubframe;                   /**< given by the server; by convention hundredths of a frame */
    uint32_t auxValue32;                         /**< carried from the server unchanged */
    uint64_t auxValue64;                         /**< carried from the server unchanged */
    uint16_t flags;                              /**< the server's flag word */
} sFrameOfMocapData;

/** @} */
/** @defgroup descriptions Data descriptions
 * @{ */

/** What an entry of a description list describes. Consumers skip entries of any other code. */
enum DescriptionType {
    DescMarkerSet = 0,  /**< data points to an sMarkerSetInfo */
    DescRigidBody = 1,  /**< data points to an sRigidBodyInfo */
    DescSkeleton = 2,   /**< data points to an sSkeletonInfo */
    DescForcePlate = 3, /**< data points to an sForcePlateInfo */
    DescPointGroup = 4  /**< data points to an sPointGroupInfo */
};

/** Names of a marker set and of its markers. */
typedef struct sMarkerSetInfo {
    char name[TARVO_NAME_SIZE]; /**< not necessarily zero-terminated */
    int32_t markerCount;        /**< 0 or more, without a fixed bound */
    char** markerNames;         /**< [markerCount] buffers of 256 bytes each; all owned by the list */
} sMarkerSetInfo;

/** A rigid-body description, carried as the server sends it. The simulated server writes a name of 256 bytes, the
 * identifier and that of the parent (int32_t, -1 for none), an offset (3 floats, metres) and an orientation (4
 * floats, x, y, z, w), of a reference pose: the orientation is global, the offset leads from the parent's origin
 * to the body's in the parent's own axes, and is the position in the volume where there is no parent. */
typedef struct sRigidBodyInfo {
    uint32_t words[73]; /**< as sent */
} sRigidBodyInfo;

/** A skeleton and its bones. */
typedef struct sSkeletonInfo {
    char name[TARVO_NAME_SIZE];                            /**< not necessarily zero-terminated */
    int32_t id;                                            /**< given by the server */
    int32_t rigidBodyCount;                                /**< 0..200 */
    sRigidBodyInfo rigidBodies[TARVO_MAX_SKELETON_BODIES]; /**< the first rigidBodyCount */
} sSkeletonInfo;

/** A force plate: placement, calibration and channel layout.
 *
 * The offsets a, b, h take the plate's moments to the centre of its surface. With six channels (layout 4) they are
 * the vector from the point about which the moment channels are measured to that centre: M = M' + F x (a, b, h),
 * the transfer of a moment to another point. With eight (layout 3), a and b are half the distances between the
 * four sensors along x and y, and h is how deep the sensors sit below the surface (their z is -h): the moments
 * follow from the forces of the sensors and their levers. */
typedef struct sForcePlateInfo {
    int32_t id;              /**< given by the server */
    int32_t scaleFactor;     /**< every offset-corrected channel value is multiplied by its negation */
    uint32_t opaque1[2];     /**< carried, not read */
    float origin[3];         /**< of the plate in the capture volume, server's length unit */
    float sensorOffset[3];   /**< a, b, h of the plate's own axes, see below */
    float rotation[3][3];    /**< row-major, from plate axes to the volume's axes */
    float calibration[8][8]; /**< row-major; the computation uses the diagonal */
    uint32_t opaque2[12];    /**< carried, not read */
    int32_t channelLayout; /**< 3: eight force channels; 4: three forces and three moments; others: not computed */
    uint32_t opaque3[2050]; /**< carried, not read */
} sForcePlateInfo;

/** One item of a point group: three 32-bit words as the server sends them. */
typedef struct sPointItem {
    uint32_t words[3]; /**< as sent */
} sPointItem;

/** A named group of points. */
typedef struct sPointGroupInfo {
    char name[TARVO_NAME_SIZE]; /**< not necessarily zero-terminated */
    int32_t pointCount;         /**< 0 or more, without a fixed bound */
    sPointItem* points;         /**< [pointCount], owned by the list */
} sPointGroupInfo;

/** One description. */
typedef struct sDescriptionEntry {
    int32_t type; /**< a DescriptionType code, or another code without a record */
    void* data;   /**< the record of that type, owned by the list; null when memory ran out for it */
} sDescriptionEntry;

/** What a server streams. Made by GetDataDescriptions, released whole by FreeDataDescriptions. */
typedef struct sDataDescriptions {
    int32_t descriptionCount; /**< 0..200; a server may send a negative count for none */
    sDescriptionEntry descriptions[TARVO_MAX_DESCRIPTIONS]; /**< the first descriptionCount */
} sDataDescriptions;

/** The server's description of itself, as the server sends it. A plain copy in the caller's storage. */
typedef struct sServerDescription {
    unsigned char bytes[TARVO_SERVER_DESCRIPTION_SIZE]; /**< as sent */
} sServerDescription;

/** @} */
/** @defgroup plates Force plates
 * @{ */

/** What one force plate measures, in the capture volume's axes. From the statics of a rigid plate: the
 * channels give force F and moment M about the centre of the surface; the centre of pressure is the point
 * (-My/Fz, Mx/Fz) of the surface, in plate axes, about which only a moment along the normal is left, and
 * that is the free moment. With next to no vertical force, the plate's origin stands for the point. */
typedef struct sForcePlateSample {
    float force[3];            /**< force vector */
    float centerOfPressure[3]; /**< where it acts, server's length unit */
    float freeMoment;          /**< z component of the free moment vector */
} sForcePlateSample;

/** The computed plates of one frame, in the order of the server's force-plate descriptions. */
typedef struct sForcePlates {
    int32_t frameNumber;                              /**< of the frame whose channels were used */
    int32_t plateCount;                               /**< 0..8 */
    sForcePlateSample plates[TARVO_MAX_FORCE_PLATES]; /**< the first plateCount */
} sForcePlates;

/** @} */
/** @defgroup callbacks Callbacks
 * Process-wide: the last client to set one sets it for all; null clears it. The user data is each
 * client's own, and null again after the client was uninitialised.
 *
 * A callback may set callbacks and levels, copy frames, read the queue, and do anything with another
 * client, its destruction included. It must not shut down the client that calls it (Uninitialize,
 * DestroyClient, the destructor): such a call is reported (an Error line), does not wait for the callback
 * as it should, and leaves what the session holds unreleased. Nor should it wait for a query on that client:
 * frames wait meanwhile, and on the thread that receives the replies the query can only time out.
 * @{ */

/** One frame, on the receive thread. Frame and arrays are valid during the call. What the callback changes in the
 * frame, a reader of the queue finds. Only what the frame's counts cover is to be written: records are used again,
 * and are cleared as far as their frames have filled them, so what is written elsewhere may stand in a later
 * frame. */
typedef void (*tFrameCallback)(sFrameOfMocapData* frame, void* userData);

/** The plates of a frame, before that frame's own callback; valid during the call. */
typedef void (*tForcePlateCallback)(sForcePlates* plates, void* userData);

/** One log line of kind 1 Info, 2 Warning, 3 Error or 4 Debug, zero-terminated, at most 1023 characters, on the
 * thread that reports; valid during the call. The lines end in a newline of their own. A line about a datagram
 * that could not be sent comes while the client's other sends wait: do not wait for a thread that makes one. */
typedef void (*tMessageCallback)(int level, char* text);

/** @} */

#ifdef __cplusplus

class ClientCore;

/** One client: a session with one capture server. Neither copied nor assigned; no method throws. */
class TARVO_API TarvoSDKClient {
public:
    /** An idle client; Initialize starts its session. */
    TarvoSDKClient();

    /** Ends a running session: no callback of this client runs after it returns. */
    ~TarvoSDKClient();

    TarvoSDKClient(const TarvoSDKClient&) = delete;
    TarvoSDKClient& operator=(const TarvoSDKClient&) = delete;

    /** Connects to the server at this address (dotted IPv4 or host name, not null), command port 5230,
     * and joins the stream, data port 5231. Blocks up to 5000 ms. After a failure set the callbacks again before
     * the next try: part of their user data may be forgotten. 0 running; 1 already running, no answer, or a socket
     * could not be made; 10 version refused. */
    int Initialize(char* serverAddress);

    /** Ends the session; the client can be initialised again. Waits for running callbacks. 0 or 2. */
    int Uninitialize();

    /** Writes the library's version, 4 bytes: 2, 5, 28, 75. */
    void TarvoSDKVersion(unsigned char* version);

    /** Process-wide log level: 0 nothing, 1 Info, 2 also Warning, 3 also Error, 4 everything (initial). */
    void SetVerbosityLevel(int level);

    /** Asks for the descriptions and starts the force-plate computation with them, retrying until
     * timeoutMs (0: without limit) has passed; every attempt takes up to 5000 ms. What the first plate
     * of the first frame after that reads is taken as the unloaded reading of every plate, once for the
     * life of the process: nothing should stand on the plates. A later call replaces the plates.
     * 0 started, also with descriptions that hold no force plate: no callback comes then, and only the
     * descriptions (GetDataDescriptions) tell. 1 no reply, or an unusable one; 2; 10. */
    int WaitForForcePlateInit(long timeoutMs);

    /** Sets what is called with the plates of a frame (see tForcePlateCallback); null clears it. 0 or 2. */
    int SetForcePlateCallback(void (*callback)(sForcePlates*, void*), void* userData);

    /** Sets what is called with every frame (see tFrameCallback); null clears it. 0 or 2. */
    int SetDataCallback(void (*callback)(sFrameOfMocapData*, void*), void* userData);

    /** Sets what is called with every log line (see tMessageCallback); null clears it. 0 or 2. */
    int SetMessageCallback(void (*callback)(int, char*));

    /** Fills the caller's record. 0; 1 no reply within 5000 ms, record untouched; 2. */
    int GetServerDescription(sServerDescription* description);

    /** Writes the address of a new list, to be released with FreeDataDescriptions.
     * 0 a reply came (the address is null when it could not be decoded); 1 no reply within 5000 ms,
     * nothing written; 2; 10. */
    int GetDataDescriptions(sDataDescriptions** descriptions);

    /** As GetDataDescriptions, by another request; the server decides what they differ in. */
    int GetDataDescriptionsEx(sDataDescriptions** descriptions);

    /** Releases a list with everything in it. 0; 2 for null. */
    int FreeDataDescriptions(sDataDescriptions* descriptions);

    /** As Quorin_DecodeTimecode: 1 success, 0 bad argument. */
    int DecodeTimecode(unsigned int timecode, unsigned int subframe, int* hours, int* minutes, int* seconds,
                       int* frames, int* subframeOut);

    /** As Quorin_TimecodeStringify: 1 success, 0 bad argument. */
    int TimecodeStringify(unsigned int timecode, unsigned int subframe, char* buffer, int bufferSize);

    /** As Quorin_CopyFrame. */
    int TarvoCopyFrame(const sFrameOfMocapData* source, sFrameOfMocapData* destination);

    /** As Quorin_FreeFrame. */
    int TarvoFreeFrame(sFrameOfMocapData* frame);

    /** The oldest unread frame of any client of the process (at most 32 are kept), or null. The record
     * is the library's and the next call overwrites it: read frames from one thread, and release each
     * one's arrays with TarvoFreeFrame before the next call. */
    sFrameOfMocapData* GetLastFrameOfMocapData();

private:
    ClientCore* m_core; /**< owned; null when memory ran out for it */
};

extern "C" {
#endif

/** @defgroup functions Plain functions
 * The methods of TarvoSDKClient for a client handle, from CreateClient. Every function returns 2 for a null
 * handle (a null frame for GetLastFrameOfMocapData) and otherwise does what the method of its name does.
 * @{ */

/** Writes a new client's handle to *phClient. 0; 1 when memory ran out (*phClient is then null).
 * phClient must not be null (asserted, in release builds too). */
TARVO_API int CreateClient(void** phClient);

/** Ends a running session and releases the client; the handle dangles afterwards. 0 or 2. */
TARVO_API int DestroyClient(void* hClient);

/** As TarvoSDKClient::Initialize. */
TARVO_API int Initialize(void* hClient, char* serverAddress);

/** As TarvoSDKClient::Uninitialize. */
TARVO_API int Uninitialize(void* hClient);

/** Writes the library's version, 4 bytes: 2, 5, 28, 75. 0 or 2. */
TARVO_API int TarvoVersion(void* hClient, unsigned char* version);

/** As TarvoSDKClient::SetVerbosityLevel. 0 or 2. */
TARVO_API int SetVerbosityLevel(void* hClient, int level);

/** As TarvoSDKClient::SetDataCallback. */
TARVO_API int SetDataCallback(void* hClient, void (*callback)(sFrameOfMocapData*, void*), void* userData);

/** As TarvoSDKClient::SetMessageCallback. */
TARVO_API int SetMessageCallback(void* hClient, void (*callback)(int, char*));

/** As TarvoSDKClient::SetForcePlateCallback. */
TARVO_API int SetForcePlateCallback(void* hClient, void (*callback)(sForcePlates*, void*), void* userData);

/** As TarvoSDKClient::GetServerDescription. */
TARVO_API int GetServerDescription(void* hClient, sServerDescription* description);

/** As TarvoSDKClient::GetDataDescriptions. Neither this nor the next three take a null pointer to descriptions
 * (asserted before the handle is checked, in release builds too). */
TARVO_API int GetDataDescriptions(void* hClient, sDataDescriptions** pDataDescriptions);

/** As TarvoSDKClient::FreeDataDescriptions. */
TARVO_API int FreeDataDescriptions(void* hClient, sDataDescriptions* pDataDescriptions);

/** Fetches the list, writes its address to *library, and copies its top level into the caller's
 * storage, whose entries then point into the library's list. Release the library's list with
 * FreeDataDescriptionsEx; the copy must not be used afterwards.
 * 0; 2 for a null handle and for any failure of the request. library must not be null. */
TARVO_API int GetDataDescriptionsEx(void* hClient, sDataDescriptions* pDataDescriptions,
                                    sDataDescriptions** library);

/** As FreeDataDescriptions, for the list of GetDataDescriptionsEx. */
TARVO_API int FreeDataDescriptionsEx(void* hClient, sDataDescriptions* pDataDescriptions);

/** As Quorin_DecodeTimecode: 1 success, 0 bad argument, 2 null handle. */
TARVO_API int DecodeTimecode(void* hClient, unsigned int timecode, unsigned int subframe, int* hours, int* minutes,
                             int* seconds, int* frames, int* subframeOut);

/** As Quorin_TimecodeStringify: 1 success, 0 bad argument, 2 null handle. */
TARVO_API int TimecodeStringify(void* hClient, unsigned int timecode, unsigned int subframe, char* buffer,
                                int bufferSize);

/** As TarvoSDKClient::WaitForForcePlateInit. */
TARVO_API int WaitForForcePlateInit(void* hClient, long timeoutMs);

/** As TarvoSDKClient::GetLastFrameOfMocapData. */
TARVO_API sFrameOfMocapData* GetLastFrameOfMocapData(void* hClient);

/** As Quorin_FreeFrame. */
TARVO_API int TarvoFreeFrame(void* hClient, sFrameOfMocapData* frame);

/** @} */
/** @defgroup helpers Helpers that need no client
 * Callable from any thread.
 * @{ */

/** Writes the library's version to 4 bytes: 2, 5, 28, 75. */
TARVO_API void Quorin_GetVersion(unsigned char* version);

/** Splits a packed timecode into hours, minutes, seconds, frames (0..255 each); the subframe is passed
 * on unchanged. 1; 0 when an output is null, and then none is written. */
TARVO_API int Quorin_DecodeTimecode(unsigned int timecode, unsigned int subframe, int* hours, int* minutes,
                                    int* seconds, int* frames, int* subframeOut);

/** Prints "hh:mm:ss:ff.s" into the buffer, cut to bufferSize - 1 characters and zero-terminated.
 * 1; 0 when the buffer is null or the size below 1, and then nothing is written. */
TARVO_API int Quorin_TimecodeStringify(unsigned int timecode, unsigned int subframe, char* buffer, int bufferSize);

/** Copies a frame with all its arrays into the caller's record, whose former contents are overwritten
 * without being released. The source must stay valid meanwhile.
 * 0 (also for source == destination, which changes nothing); 2 when a pointer is null, or when memory
 * ran out: the destination is then all zero. */
TARVO_API int Quorin_CopyFrame(const sFrameOfMocapData* source, sFrameOfMocapData* destination);

/** Releases the arrays of a copied frame, or of the frame that GetLastFrameOfMocapData returned, and
 * zeroes the record; the record itself stays the caller's. 0; 2 for null. */
TARVO_API int Quorin_FreeFrame(sFrameOfMocapData* frame);

/** Releases a description list with everything in it. 0; 2 for null. */
TARVO_API int Quorin_FreeDescriptions(sDataDescriptions* descriptions);

/** @} */

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
