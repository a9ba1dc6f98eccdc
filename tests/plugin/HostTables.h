#ifndef TESTS_HOSTTABLES_H
#define TESTS_HOSTTABLES_H

/* A host that knows the plug-in's interfaces only as tables of functions, in the order that the binary interface
   promises: compiled as C, from structs written by hand, it cannot follow a header that has changed. */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A QString that a function returns: C++ hands it back in memory that the caller provides, as C does a struct of more
   than two words. Only the first word is written. */
typedef struct HostString {
    void *data;
    void *unused[2];
} HostString;

/* What goes into the calls, and what came out of the last one. */
typedef struct HostCallData {
    void *parent;      /* a QWidget */
    void *rect;        /* a QRect */
    const void *text;  /* a QString */
    void *out;         /* the object that QueryInterface may write */
    int32_t number;    /* the answer: a number, or a truth value */
    HostString string; /* the answer: a text, which is the caller's now */
} HostCallData;

typedef enum HostPart { HOST_UI, HOST_DESTROY_EVENT, HOST_NOTIFY } HostPart;
typedef enum HostAnswer { HOST_NOTHING, HOST_NUMBER, HOST_TRUTH, HOST_STRING } HostAnswer;

/* One slot of one table: the function that must stand there, and a call of whatever does. */
typedef struct HostSlot {
    const char *function;
    HostPart part;
    HostAnswer answer;
    void (*call)(void *object, HostCallData *data);
} HostSlot;

extern const HostSlot hostSlots[];
extern const int hostSlotCount;

/* The IDestroyEvent part of an IUIPlugin: its table's pointer stands right behind the first. */
void *hostDestroyEventOf(void *ui);

/* Deletes the object through the destructor's slot of the table that `part` points to. */
void hostDelete(void *part);

#ifdef __cplusplus
}
#endif

#endif /* TESTS_HOSTTABLES_H */
