// Preloaded into a service that would wait for connections from anywhere: it waits on loopback.
#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstring>

namespace
{

int bindAsIs(int socket, const sockaddr *address, socklen_t size)
{
    using Bind = int (*)(int, const sockaddr *, socklen_t);
    static const auto next = reinterpret_cast<Bind>(dlsym(RTLD_NEXT, "bind"));
    return next(socket, address, size);
}

template <typename Address, typename Change>
int bindChanged(int socket, const sockaddr *address, Change change)
{
    Address changed;
    std::memcpy(&changed, address, sizeof changed);
    change(&changed);
    return bindAsIs(socket, reinterpret_cast<const sockaddr *>(&changed), sizeof changed);
}

} // namespace

extern "C" int bind(int socket, const sockaddr *address, socklen_t size) noexcept
{
    if (address->sa_family == AF_INET && size == sizeof(sockaddr_in))
        return bindChanged<sockaddr_in>(socket, address,
                                        [](sockaddr_in *to) { to->sin_addr.s_addr = htonl(INADDR_LOOPBACK); });
    if (address->sa_family == AF_INET6 && size == sizeof(sockaddr_in6))
        return bindChanged<sockaddr_in6>(socket, address, [](sockaddr_in6 *to) { to->sin6_addr = in6addr_loopback; });
    return bindAsIs(socket, address, size);
}
