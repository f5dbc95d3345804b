/** @file
 * The stream as an application reads it: feeds, times, what happened to every frame, and the choice of the
 * interface. Stands beside TarvoSDKClient.h, whose callbacks and queue it leaves as they are; C11 and C++. */
#ifndef TARVO_STREAM_H
#define TARVO_STREAM_H

#include "TarvoSDKClient.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup stream The stream
 * hClient is the handle of CreateClient, or the address of a TarvoSDKClient. Unless a function says otherwise it
 * is callable from any thread and in every callback, and returns 0 for success, 1 when the operation failed, and 2
 * for a null argument, a client without a session object, or a feed that is not open.
 * @{ */

/** No limit, as the time-out of Quorin_NextFrame. */
#define TARVO_WAIT_FOREVER 0xFFFFFFFFU

enum {
    TARVO_MAX_FEED_FRAMES = 65536, /**< the largest capacity of a feed */
    TARVO_INTERFACE_NAME_SIZE = 16 /**< bytes of an interface's name, with the zero behind it */
};

/** When a frame came, in nanoseconds. The wall clock is the system's CLOCK_REALTIME, counted from 1970 (UTC), the
 * monotonic clock its CLOCK_MONOTONIC, which nobody sets. A frame whose datagrams carry no stamp of the kernel has
 * 0 as its arrivals. 32 bytes. */
typedef struct sFrameTimes {
    int64_t firstArrivalNs;      /**< wall clock: the kernel took in the frame's first datagram */
    int64_t lastArrivalNs;       /**< wall clock: the kernel took in its last one, and the frame was complete */
    int64_t arrivalMonotonicNs;  /**< lastArrivalNs on the monotonic clock, converted at the delivery */
    int64_t deliveryMonotonicNs; /**< monotonic clock: before the frame's first callback */
} sFrameTimes;

/** The times of the frame in hand. For the frame callback and the force-plate callback, on the thread that runs
 * them: 0; 1 anywhere else. */
TARVO_API int Quorin_GetFrameTimes(void* hClient, sFrameTimes* times);

/** @} */
/** @defgroup feeds Feeds
 * A feed keeps the newest frames of one client until somebody reads them, up to its capacity; when it is full, the
 * oldest one goes, and is counted. It is an application's own: any number may be open on a client, each gets every
 * frame that comes between its opening and its closing, whatever other feeds, the queue and the callbacks do.
 * Frames are as the client's frame callback has left them, without the channels of computed force plates. A frame
 * that a callback has left with a count outside its bounds is no frame: a feed counts it as dropped.
 *
 * A feed lives from Quorin_OpenFeed to Quorin_CloseFeed. It goes on over Uninitialize and a new Initialize of its
 * client. Close it before the client is destroyed; if it is still open then, it can be read empty, and closed, but
 * nothing comes any more. A handle that was closed is no feed: the functions return 2 for it (-1 for
 * Quorin_FeedDescriptor). Frames that a reader leaves lie in memory as their messages do, so a feed takes at most
 * its capacity times the size of a message.
 * @{ */

/** Opens a feed that keeps up to capacity frames, 1 to TARVO_MAX_FEED_FRAMES, and writes its handle to *feed. 0;
 * 1, with *feed null, for another capacity or when memory ran out; 2. */
TARVO_API int Quorin_OpenFeed(void* hClient, uint32_t capacity, void** feed);

/** Takes the oldest frame out of the feed, waiting for one up to timeoutMs milliseconds (0: not at all,
 * TARVO_WAIT_FOREVER: without limit). On a thread that brings the frames of the feed's client, as in its frame
 * callback, it does not wait, since none could come.
 * frame: written whole, its former contents are not released; its arrays are the caller's, to be released with
 * Quorin_FreeFrame. plates, times: may be null; plates get the force plates of the frame (plateCount 0 when none
 * were computed).
 * 0 a frame; 9 none came in time; 1 none is left and none will come, since the client's session has ended, the
 * client was destroyed, or the feed is closed meanwhile: what waits returns at once. Before the client's first
 * session it waits, and after Initialize frames come again. 2 feed or frame is null, the feed is not open, or
 * memory ran out for the frame's arrays: that frame is then counted as dropped and the record is zero. Several
 * threads may wait on one feed: each frame goes to one of them. */
TARVO_API int Quorin_NextFrame(void* feed, uint32_t timeoutMs, sFrameOfMocapData* frame, sForcePlates* plates,
                               sFrameTimes* times);

/** A descriptor for poll, epoll, select and event loops, which is readable (POLLIN) while frames wait in the feed,
 * and when Quorin_NextFrame would return 1. It is the feed's: neither read it nor close it, and take it out of the
 * event loop before Quorin_CloseFeed, which closes it. -1 when the feed is not open or the system has no
 * descriptor left. */
TARVO_API int Quorin_FeedDescriptor(void* feed);

/** What one feed has done. Every value is 64 bits wide behind the first two. */
typedef struct sFeedStatistics {
    uint32_t size;     /**< in: bytes of the caller's record; out: bytes that were filled */
    uint32_t capacity; /**< frames that it keeps */
    uint64_t received; /**< frames that came since it was opened: waiting, read and dropped ones together */
    uint64_t dropped;  /**< of these, left it unread, or could not be kept */
    uint64_t waiting;  /**< of these, wait to be read */
} sFeedStatistics;

/** Fills as much of the caller's record as its size covers. 0; 1, nothing written, for a size below 8; 2. */
TARVO_API int Quorin_GetFeedStatistics(void* feed, sFeedStatistics* statistics);

/** Closes the feed and releases what it holds. Threads that wait in Quorin_NextFrame return 1. 0 or 2. */
TARVO_API int Quorin_CloseFeed(void* feed);

/** @} */
/** @defgroup statistics What happened to every frame
 * @{ */

/** What the endpoint of the stream has seen since the latest Initialize of its client; after an Uninitialize the
 * values stay until the next one. Counted as it happens, and read without stopping anything: each value is true by
 * itself at some moment of the call, and all are of one moment when nothing arrives meanwhile.
 *
 * Medians and 99th percentiles come from logarithmic histograms with 16 steps to a doubling: they are within 3.2 %
 * of a value that was seen. Mean and largest values are exact. Times that nothing was seen of are 0.
 *
 * A frame number is missing when a higher one came. Each missing one is counted under one cause, by what was seen
 * around it; when it comes after all (late, or again), it is taken out of that count. Numbers are followed from
 * the first one that comes, and anew from where they go back to. */
typedef struct sStreamStatistics {
    uint32_t size;           /**< in: bytes of the caller's record; out: bytes that were filled */
    uint32_t interfaceState; /**< a StreamInterfaceState, of now */

    uint64_t datagrams; /**< received by the stream's socket, rejected ones too */
    uint64_t bytes;     /**< of these, headers of the protocol included */

    uint64_t rejectedTooShort;    /**< datagrams without a whole header */
    uint64_t rejectedWrongLength; /**< datagrams whose length is not what their header says */
    uint64_t rejectedForeign;     /**< datagrams without the protocol's magic */
    uint64_t kernelDropped; /**< datagrams that the kernel had no room for; known with the next one that comes */

    uint64_t messagesIncomplete;  /**< messages given up for a datagram that has not come */
    uint64_t messagesOutOfOrder;  /**< messages given up though all their datagrams came, in another order */
    uint64_t messagesUndecodable; /**< frames that came whole and could not be decoded */
    uint64_t fragmentsRepeated;   /**< fragments that came twice */

    uint64_t framesDelivered; /**< frames that were handed on */
    uint64_t framesRepeated;  /**< of these, had a number that had been delivered already just before */
    uint64_t numbersWentBack; /**< of these, had a lower number than the one before: late, or a restarted server */
    uint64_t missingTooSlow; /**< missing numbers: the kernel dropped datagrams there, this machine was too slow */
    uint64_t missingIncomplete;  /**< missing numbers: part of the frame came, but not all, or not in order */
    uint64_t missingUndecodable; /**< missing numbers: the frame came and could not be decoded */
    uint64_t missingNeverSeen;   /**< missing numbers: nothing came; skipped by the server, or lost on the way */

    uint64_t queueDropped; /**< frames that this client's frames have pushed out of the process's queue unread */
    uint64_t feedsDropped; /**< frames that this client's feeds dropped unread, closed feeds included */

    uint64_t intervalMedianNs;  /**< between the arrivals (lastArrivalNs) of one delivered frame and the next */
    uint64_t intervalP99Ns;     /**< 99th percentile */
    uint64_t intervalLargestNs; /**< largest */
    uint64_t delayMedianNs;     /**< from the arrival to the delivery */
    uint64_t delayP99Ns;        /**< 99th percentile */
    uint64_t delayLargestNs;    /**< largest */
    uint64_t callbackMeanNs;    /**< spent in the callbacks of one frame */
    uint64_t callbackLargestNs; /**< largest */

    uint64_t receiveBufferAsked;   /**< bytes asked of the system for the stream's socket */
    uint64_t receiveBufferGranted; /**< bytes that it gave, as it counts them: with its own overhead */
    uint64_t receiveBufferFullest; /**< bytes, counted so, that waited at most when the library looked */

    char interfaceName[TARVO_INTERFACE_NAME_SIZE]; /**< of the joined interface, zero-terminated; empty: none */
} sStreamStatistics;

/** How the stream is joined. */
enum StreamInterfaceState {
    StreamNotJoined = 0,     /**< no session */
    StreamJoined = 1,        /**< on interfaceName; for a server on this machine on the loopback interface, and on
                                  that of the default route as well where there is one */
    StreamInterfaceGone = 2, /**< interfaceName has vanished or is down: no frame comes until a new Initialize, or,
                                  if it was only down, until it is up */
};

/** Fills as much of the caller's record as its size covers: set size to sizeof(sStreamStatistics) before. A
 * program that was built with an older or newer record than the library's gets what both know. 0, of an idle
 * client too; 1, nothing written, for a size below 8; 2. */
TARVO_API int Quorin_GetStreamStatistics(void* hClient, sStreamStatistics* statistics);

/** @} */
/** @defgroup interface The interface of the stream
 * A session joins the stream's group on the interface that faces the server: the one over which the system would
 * send to the server's command port. A server with an address of this host may stream on the loopback interface or
 * on that of the default route: both are joined. Where the facing interface cannot be told or joined, it is that
 * of the system's default.
 * @{ */

/** The interface on which the sessions of this client join the stream from the next Initialize on, by its name
 * ("eth1") or IPv4 address; null or "": the one that faces the server. Stays until it is set anew. An interface
 * that was chosen here and cannot be joined makes Initialize return 1. 0; 1, with an Error line and nothing
 * changed, when this host has no interface with an IPv4 address of that name or address; 2. For the thread that
 * starts the client. */
TARVO_API int Quorin_SetStreamInterface(void* hClient, const char* nameOrAddress);

/** @} */

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
