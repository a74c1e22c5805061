/*
 * bkmp: messages of named, typed fields between the navigation application
 * and velarnd, over a local stream socket.
 *
 * A stand-in for the device's closed message library with the same C
 * functions, so that the original can be linked instead without touching the
 * daemon. Handles are opaque pointers; 0 means none. Every function returns
 * BKMP_OK (0) on success and a negative BKMP_E_* code on failure.
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
  BKMP_E_INVALID = -1001,  /* a null handle or argument */
  BKMP_E_NOMEM = -1002,    /* out of memory or a limit reached */
  BKMP_E_NOTFOUND = -1003, /* no field of this name */
  BKMP_E_TYPE = -1004,     /* the field has another type */
  BKMP_E_ADDRESS = -1005,  /* the address can't be used (yet) */
  BKMP_E_CONNECT = -1006,  /* no server at the address */
  BKMP_E_CLOSED = -1007,   /* the peer has gone or the connection failed */
  BKMP_E_PROTOCOL = -1008, /* the peer sent a malformed frame */
  BKMP_E_TIMEOUT = -1010   /* the time-out ran out; the connection stands */
};

/* Server side. timeout is in microseconds: Accept and Receive on accepted
 * connections return BKMP_E_TIMEOUT after it. reserved1/reserved2 are
 * accepted for compatibility and ignored (callers pass 1, 1). */
BKMP_API int BKMPServerCreate(BKMPServer* server, int timeout, int reserved1, int reserved2);
BKMP_API int BKMPServerListen(BKMPServer server, const char* address);
BKMP_API int BKMPServerAccept(BKMPServer server, BKMPConnection* connection);
BKMP_API int BKMPServerDestroy(BKMPServer server);

/* Client side: create a connection object with its receive time-out (in
 * microseconds), then connect it to a listening server. */
BKMP_API int BKMPConnectionCreate(BKMPConnection* connection, int timeout);
BKMP_API int BKMPConnectionConnectTimeout(BKMPConnection connection, const char* address, int timeout);

/* Both sides. Receive hands over a message that the caller owns (destroy it
 * with BKMPMessageDestroy). Send may run on another thread than Receive. */
BKMP_API int BKMPConnectionReceive(BKMPConnection connection, BKMPMessage* message);
BKMP_API int BKMPConnectionSend(BKMPConnection connection, BKMPMessage message);
BKMP_API int BKMPConnectionDestroy(BKMPConnection connection);

/* Messages: sets of named fields. A setter adds or replaces a field; a getter
 * fails with BKMP_E_NOTFOUND or BKMP_E_TYPE. There is no unsigned 32-bit
 * setter: a value stored with BKMPSetFieldInt32 reads back with either
 * BKMPGetFieldInt32 or BKMPGetFieldUint32. */
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

#ifdef __cplusplus
}
#endif

#endif /* BKMP_H */
