// Tells ThreadSanitizer what a stock Qt orders between threads, which it cannot see by itself: QMutex is made of atomic
// operations in a library that is not built with it, and so are the queue of posted events and the end of a QThread.
//
// A library to be loaded in front of Qt's (LD_PRELOAD, see the test preset "tsan"). Each function stands in for Qt's of
// the same name, calls that and says what follows from it. Without ThreadSanitizer in the process nothing is said. It
// is not linked to Qt, so that it can be loaded into any program that the tests start.
#include <dlfcn.h>
#include <pthread.h>

// Names as the ABI mangles them are reserved, and these are wanted as they are.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
__attribute__((weak)) void __tsan_acquire(void *address);
__attribute__((weak)) void __tsan_release(void *address);
}

namespace
{

char posted;      ///< stands for all posted events
char threadEnded; ///< stands for the ends of all QThreads

void acquire(void *address)
{
    if (__tsan_acquire)
        __tsan_acquire(address);
}

void release(void *address)
{
    if (__tsan_release)
        __tsan_release(address);
}

template <typename Function>
Function *next(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

// In the function NAME: `function` is the one that it stands for.
#define FUNCTION(NAME) static auto *const function = next<decltype(NAME)>(#NAME)

// void QMutex::lock(), void QMutex::unlock()
extern "C" void _ZN6QMutex4lockEv(void *self)
{
    FUNCTION(_ZN6QMutex4lockEv);
    function(self);
    acquire(self);
}

extern "C" void _ZN6QMutex6unlockEv(void *self)
{
    FUNCTION(_ZN6QMutex6unlockEv);
    release(self);
    function(self);
}

// A signal, which may be queued: void QMetaObject::activate(QObject *, const QMetaObject *, int, void **)
extern "C" void _ZN11QMetaObject8activateEP7QObjectPKS_iPPv(void *sender, const void *meta, int index, void **values)
{
    FUNCTION(_ZN11QMetaObject8activateEP7QObjectPKS_iPPv);
    release(&posted);
    function(sender, meta, index, values);
}

// bool QMetaObject::invokeMethodImpl(QObject *, QtPrivate::QSlotObjectBase *, Qt::ConnectionType, void *)
extern "C" bool _ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv(
    void *object, void *slot, int type, void *result)
{
    FUNCTION(_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv);
    release(&posted);
    return function(object, slot, type, result);
}

// The delivery: bool QObject::event(QEvent *)
extern "C" bool _ZN7QObject5eventEP6QEvent(void *self, void *event)
{
    FUNCTION(_ZN7QObject5eventEP6QEvent);
    acquire(&posted);
    return function(self, event);
}

// The last deed of a QThread is to wake those who wait for it, with the C library's function.
extern "C" int pthread_cond_broadcast(pthread_cond_t *condition)
{
    FUNCTION(pthread_cond_broadcast);
    release(&threadEnded);
    return function(condition);
}

// bool QThread::wait(unsigned long)
extern "C" bool _ZN7QThread4waitEm(void *self, unsigned long time)
{
    FUNCTION(_ZN7QThread4waitEm);
    const bool hasEnded = function(self, time);
    acquire(&threadEnded);
    return hasEnded;
}

// bool QThread::isRunning() const, bool QThread::isFinished() const
extern "C" bool _ZNK7QThread9isRunningEv(const void *self)
{
    FUNCTION(_ZNK7QThread9isRunningEv);
    const bool isRunning = function(self);
    acquire(&threadEnded);
    return isRunning;
}

extern "C" bool _ZNK7QThread10isFinishedEv(const void *self)
{
    FUNCTION(_ZNK7QThread10isFinishedEv);
    const bool isFinished = function(self);
    acquire(&threadEnded);
    return isFinished;
}
// NOLINTEND(bugprone-reserved-identifier)
