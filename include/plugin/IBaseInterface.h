#ifndef IBASEINTERFACE_H
#define IBASEINTERFACE_H

/// Prefix of the interface identifiers below. The host chooses it: a reverse-domain string literal,
/// given to the compiler as STK_HOST_IID_PREFIX (CMake cache variable of the same name).
#ifndef STK_HOST_IID_PREFIX
#define STK_HOST_IID_PREFIX "org.opendashboard"
#endif

/// Root of every object that the host holds through an interface pointer.
///
/// The order of the operations is the order of the virtual table, which hosts rely on: never change it.
/// All operations are called on the user-interface thread.
class IBaseInterface
{
public:
    virtual ~IBaseInterface() {}

    /// The host gives up its pointer. The plug-in may ignore it: it then stays until the host deletes it.
    virtual void Release() = 0;

    /// Code of the last failure, 0 when there was none.
    virtual int GetLastError() = 0;
};

#endif // IBASEINTERFACE_H
