/*
 * bkmp: messages of named, typed fields between the navigation application
 * and velarnd, over a local stream socket.
 *
 * A stand-in for the device's closed message library with the same C
 * functions, so that the original can be linked instead without touching the
 * daemon. Handles are opaque pointers; 0 means none. Every function returns
 * BKMP_OK (0) on success and a negative BKMP_E_* code on failure.
 *
 * An address is the path of a Unix-domain stream socket. Messages travel as
 * frames whose layout is described in docs/bkmp-wire-format.md. Time-outs
 * are in microseconds. The library never raises SIGPIPE and opens every
 * descriptor close-on-exec.
 */
#ifndef BKMP_H
#define BKMP_H

#include <stdint.h>
#include <wchar.h>

#if defined(__GNUC__)
#define BKMP_API __attribute__((visibility("default")))
#else
#define BKMP_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct BKMPServerObject* BKMPServer;
typedef struct BKMPConnectionObject* BKMPConnection;
typedef struct BKMPMessageObject* BKMPMessage;

enum {
  BKMP_OK = 0,
  BKMP_E_INVALID = -1001,    /* a null handle or argument */
  BKMP_E_NOMEM = -1002,      /* out of memory or a limit reached */
  BKMP_E_NOTFOUND = -1003,   /* no field of this name */
  BKMP_E_TYPE = -1004,       /* the field has another type */
  BKMP_E_ADDRESS = -1005,    /* the address can't be used (yet) */
  BKMP_E_CONNECT = -1006,    /* no server at the address */
  BKMP_E_CLOSED = -1007,     /* the peer has gone or the connection failed */
  BKMP_E_PROTOCOL = -1008,   /* the peer sent a malformed frame */
  BKMP_E_INCOMPLETE = -1009, /* BKMPMessageDecode: the frame isn't complete yet */
  BKMP_E_TIMEOUT = -1010     /* the time-out ran out; the connection stands */
};

/* The largest frame, header included, that the library sends or accepts. */
#define BKMP_MAX_FRAME (1024 * 1024)

/* Server side.
 *
 * Create: timeout (microseconds, 0 or more) is how long Accept waits, and how
 * long Receive waits on the connections that Accept gives. reserved1 and
 * reserved2 are accepted for compatibility and ignored (callers pass 1, 1).
 * Fails only for want of resources (or a negative timeout: BKMP_E_INVALID).
 *
 * Listen: creates the socket file at address with mode 0660, whatever the
 * process's umask, and listens. A socket file left by a process that has
 * gone is replaced; BKMP_E_ADDRESS while another server listens there, while
 * something other than a socket has the name, or while the folder isn't
 * there or writable: the call can simply be tried again later. A server
 * listens on one address; a second Listen is BKMP_E_INVALID.
 *
 * Accept: waits at most the time-out for one peer; BKMP_E_TIMEOUT when none
 * came. The new connection belongs to the caller.
 *
 * Destroy: closes the server and removes its socket file (only if the name
 * still refers to it). Connections it accepted live on. */
BKMP_API int BKMPServerCreate(BKMPServer* server, int timeout, int reserved1, int reserved2);
BKMP_API int BKMPServerListen(BKMPServer server, const char* address);
BKMP_API int BKMPServerAccept(BKMPServer server, BKMPConnection* connection);
BKMP_API int BKMPServerDestroy(BKMPServer server);

/* Client side: create a connection object with its receive time-out
 * (microseconds, 0 or more), then connect it to a listening server, waiting
 * at most timeout microseconds while the server's queue is full.
 * BKMP_E_CONNECT when no server listens at address, BKMP_E_TIMEOUT when it
 * didn't take the connection in time, BKMP_E_ADDRESS for a path too long for
 * a socket address, BKMP_E_INVALID when the object is connected already. */
BKMP_API int BKMPConnectionCreate(BKMPConnection* connection, int timeout);
BKMP_API int BKMPConnectionConnectTimeout(BKMPConnection connection, const char* address, int timeout);

/* Both sides.
 *
 * Receive waits at most the connection's time-out for one whole message and
 * hands it over; the caller owns it (BKMPMessageDestroy). BKMP_E_TIMEOUT when
 * no whole message came in time: the connection stands, and bytes of a frame
 * that is still arriving are kept for the next call. BKMP_E_CLOSED when the
 * peer has gone; BKMP_E_PROTOCOL when it sent a malformed frame, which ends
 * the connection (later calls give BKMP_E_CLOSED). One thread at a time.
 *
 * Send writes the whole message, which stays the caller's, or nothing of it
 * (BKMP_E_NOMEM for a message whose frame would exceed BKMP_MAX_FRAME). It
 * may run on other threads while one thread is in Receive; frames of
 * concurrent senders never interleave. If the peer takes no byte for one
 * second, or the socket fails, the connection is ended: BKMP_E_CLOSED now and
 * from every later Send and Receive.
 *
 * Destroy closes and releases the connection; no other call on it may be
 * running or follow. */
BKMP_API int BKMPConnectionReceive(BKMPConnection connection, BKMPMessage* message);
BKMP_API int BKMPConnectionSend(BKMPConnection connection, BKMPMessage message);
BKMP_API int BKMPConnectionDestroy(BKMPConnection connection);

/* Waking, an addition of this library that the device's original lacks (a
 * caller that must run with both declares these weak and tests them for 0).
 *
 * From any thread while the object exists: a BKMPServerAccept on server, or a
 * BKMPConnectionReceive on connection, that waits returns BKMP_E_TIMEOUT at
 * once, as if its time-out had run out; the server or connection stands. A
 * wake that finds no call waiting ends the next one that would wait, so it
 * can't be lost between a caller's test of its stop flag and its call. This
 * lets a service wait with a long time-out and still stop at once.
 * BKMP_E_NOMEM when the object couldn't get the descriptor this needs. */
BKMP_API int BKMPServerWake(BKMPServer server);
BKMP_API int BKMPConnectionWake(BKMPConnection connection);

/* Messages: sets of named fields, at most 512 of them. A setter adds or
 * replaces a field; a getter fails with BKMP_E_NOTFOUND or BKMP_E_TYPE. There
 * is no unsigned 32-bit setter: a value stored with BKMPSetFieldInt32 reads
 * back with either BKMPGetFieldInt32 or BKMPGetFieldUint32.
 * A key has 1 to 127 bytes. A text has at most 65535 bytes; a wide text at
 * most 65535 characters, each a Unicode scalar value (not a surrogate, at
 * most 0x10FFFF), else BKMP_E_INVALID. Too many fields or too long a text:
 * BKMP_E_NOMEM. */
BKMP_API int BKMPMessageCreate(BKMPMessage* message);
BKMP_API int BKMPMessageDestroy(BKMPMessage message);

BKMP_API int BKMPSetFieldInt8(BKMPMessage message, const char* key, int8_t value);
BKMP_API int BKMPSetFieldUint8(BKMPMessage message, const char* key, uint8_t value);
BKMP_API int BKMPSetFieldInt16(BKMPMessage message, const char* key, int16_t value);
BKMP_API int BKMPSetFieldUint16(BKMPMessage message, const char* key, uint16_t value);
BKMP_API int BKMPSetFieldInt32(BKMPMessage message, const char* key, int32_t value);
BKMP_API int BKMPSetFieldLong64(BKMPMessage message, const char* key, int64_t value);
BKMP_API int BKMPSetFieldBool(BKMPMessage message, const char* key, int value);
BKMP_API int BKMPSetFieldReal(BKMPMessage message, const char* key, double value);
BKMP_API int BKMPSetFieldStr(BKMPMessage message, const char* key, const char* text);
BKMP_API int BKMPSetFieldUniStr(BKMPMessage message, const char* key, const wchar_t* text);

BKMP_API int BKMPGetFieldInt8(BKMPMessage message, const char* key, int8_t* value);
BKMP_API int BKMPGetFieldUint8(BKMPMessage message, const char* key, uint8_t* value);
BKMP_API int BKMPGetFieldInt16(BKMPMessage message, const char* key, int16_t* value);
BKMP_API int BKMPGetFieldUint16(BKMPMessage message, const char* key, uint16_t* value);
BKMP_API int BKMPGetFieldInt32(BKMPMessage message, const char* key, int32_t* value);
BKMP_API int BKMPGetFieldUint32(BKMPMessage message, const char* key, uint32_t* value);
BKMP_API int BKMPGetFieldLong64(BKMPMessage message, const char* key, int64_t* value);
BKMP_API int BKMPGetFieldBool(BKMPMessage message, const char* key, int* value);
BKMP_API int BKMPGetFieldReal(BKMPMessage message, const char* key, double* value);
/* size is the caller's buffer size in bytes (characters for UniStr),
 * terminator included: at most size - 1 characters are copied, a longer text
 * is cut, and the buffer is always terminated. size below 1 is
 * BKMP_E_INVALID. */
BKMP_API int BKMPGetFieldStr(BKMPMessage message, const char* key, char* buffer, int size);
BKMP_API int BKMPGetFieldUniStr(BKMPMessage message, const char* key, wchar_t* buffer, int size);

/* Frames without a connection, for peers with I/O of their own and for tools.
 *
 * Encode writes the frame of message into buffer. *length gets the size of
 * the frame; BKMP_E_NOMEM when size is smaller (buffer may then be 0, to ask
 * for the size) or when the frame would exceed BKMP_MAX_FRAME (*length 0).
 *
 * Decode reads one frame from the start of data: BKMP_OK with a new message
 * that the caller owns and *used set to the frame's size; BKMP_E_INCOMPLETE
 * when data is shorter than the frame it begins (the header is checked as
 * far as it is there); BKMP_E_PROTOCOL when data can't begin a valid frame.
 * The frame is checked completely before a message is made. */
BKMP_API int BKMPMessageEncode(BKMPMessage message, unsigned char* buffer, int size, int* length);
BKMP_API int BKMPMessageDecode(const unsigned char* data, int size, int* used, BKMPMessage* message);

/* A short English text for a return code, for people reading a tool's output. */
BKMP_API const char* BKMPErrorString(int code);

#ifdef __cplusplus
}
#endif

#endif /* BKMP_H */
