#include "HostTables.h"

#include <stdbool.h>

/* The Itanium ABI: an object begins with a pointer to its table; a virtual destructor takes two slots, the second of
   which also frees the memory; `this` is the first argument. */
#define DESTRUCTORS                     \
    void (*completeDestructor)(void *); \
    void (*deletingDestructor)(void *);

typedef struct UiTable {
    DESTRUCTORS
    void (*Release)(void *);
    int32_t (*GetLastError)(void *);
    bool (*Init)(void *);
    int32_t (*GetPluginType)(void *);
    HostString (*GetCLSID)(void *);
    int32_t (*GetVersion)(void *);
    HostString (*GetPluginName)(void *);
    bool (*IsAllowRelease)(void *);
    int32_t (*QueryInterface)(void *, int, void **);
    bool (*ShowWindow)(void *, void *, void *);
    int32_t (*DoModal)(void *);
    void (*Hide)(void *);
    void (*FitSize)(void *, void *);
    bool (*IsReady)(void *);
    bool (*ChangeLang)(void *, const void *);
} UiTable;

typedef struct DestroyEventTable {
    DESTRUCTORS
    void (*OnDestroy)(void *);
    void (*UnSDKRegisterEvent)(void *);
} DestroyEventTable;

typedef struct NotifyTable {
    DESTRUCTORS
    int32_t (*Notify)(void *, unsigned int, unsigned int, unsigned int);
} NotifyTable;

typedef struct DestructorTable {
    DESTRUCTORS
} DestructorTable;

/* The two pointers with which an IUIPlugin begins. */
typedef struct Ui {
    const UiTable *table;
    const DestroyEventTable *destroyEvent;
} Ui;

static const UiTable *ui(void *object)
{
    return ((const Ui *)object)->table;
}

static const DestroyEventTable *destroyEvent(void *object)
{
    return *(const DestroyEventTable *const *)object;
}

static const NotifyTable *notify(void *object)
{
    return *(const NotifyTable *const *)object;
}

#define PLAIN(table, function)                                   \
    static void call##function(void *object, HostCallData *data) \
    {                                                            \
        (void)data;                                              \
        table(object)->function(object);                         \
    }
#define NUMBER(table, function)                                  \
    static void call##function(void *object, HostCallData *data) \
    {                                                            \
        data->number = table(object)->function(object);          \
    }
#define STRING(table, function)                                  \
    static void call##function(void *object, HostCallData *data) \
    {                                                            \
        data->string = table(object)->function(object);          \
    }

PLAIN(ui, Release)
NUMBER(ui, GetLastError)
NUMBER(ui, Init)
NUMBER(ui, GetPluginType)
STRING(ui, GetCLSID)
NUMBER(ui, GetVersion)
STRING(ui, GetPluginName)
NUMBER(ui, IsAllowRelease)
NUMBER(ui, DoModal)
PLAIN(ui, Hide)
NUMBER(ui, IsReady)
PLAIN(destroyEvent, OnDestroy)
PLAIN(destroyEvent, UnSDKRegisterEvent)

static void callQueryInterface(void *object, HostCallData *data)
{
    data->number = ui(object)->QueryInterface(object, 3, &data->out);
}

static void callShowWindow(void *object, HostCallData *data)
{
    data->number = ui(object)->ShowWindow(object, data->parent, data->rect);
}

static void callFitSize(void *object, HostCallData *data)
{
    ui(object)->FitSize(object, data->rect);
}

static void callChangeLang(void *object, HostCallData *data)
{
    data->number = ui(object)->ChangeLang(object, data->text);
}

static void callNotify(void *object, HostCallData *data)
{
    data->number = notify(object)->Notify(object, 319, 1, 2);
}

#define SLOT(part, answer, function)            \
    {                                           \
#function, part, answer, call##function \
    }

const HostSlot hostSlots[] = {
    SLOT(HOST_UI, HOST_NOTHING, Release),
    SLOT(HOST_UI, HOST_NUMBER, GetLastError),
    SLOT(HOST_UI, HOST_TRUTH, Init),
    SLOT(HOST_UI, HOST_NUMBER, GetPluginType),
    SLOT(HOST_UI, HOST_STRING, GetCLSID),
    SLOT(HOST_UI, HOST_NUMBER, GetVersion),
    SLOT(HOST_UI, HOST_STRING, GetPluginName),
    SLOT(HOST_UI, HOST_TRUTH, IsAllowRelease),
    SLOT(HOST_UI, HOST_NUMBER, QueryInterface),
    SLOT(HOST_UI, HOST_TRUTH, ShowWindow),
    SLOT(HOST_UI, HOST_NUMBER, DoModal),
    SLOT(HOST_UI, HOST_NOTHING, Hide),
    SLOT(HOST_UI, HOST_NOTHING, FitSize),
    SLOT(HOST_UI, HOST_TRUTH, IsReady),
    SLOT(HOST_UI, HOST_TRUTH, ChangeLang),
    SLOT(HOST_DESTROY_EVENT, HOST_NOTHING, OnDestroy),
    SLOT(HOST_DESTROY_EVENT, HOST_NOTHING, UnSDKRegisterEvent),
    SLOT(HOST_NOTIFY, HOST_NUMBER, Notify),
};

const int hostSlotCount = sizeof(hostSlots) / sizeof(hostSlots[0]);

void *hostDestroyEventOf(void *object)
{
    return &((Ui *)object)->destroyEvent;
}

void hostDelete(void *part)
{
    (*(const DestructorTable *const *)part)->deletingDestructor(part);
}
