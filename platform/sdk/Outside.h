#ifndef SDK_OUTSIDE_H
#define SDK_OUTSIDE_H

#include <exception>
#include <string>

namespace sdk
{

/// One line on standard error.
void log(const std::string &text);

/// Calls what somebody else has written: a channel, a callback, a dispatcher, a listener. An exception ends here, and
/// in the log. False: there was one.
template <typename Body>
bool callOutside(const char *what, Body body)
{
    try {
        body();
        return true;
    } catch (const std::exception &problem) {
        log(std::string(what) + " threw an exception: " + problem.what());
    } catch (...) {
        log(std::string(what) + " threw something that is no exception");
    }
    return false;
}

} // namespace sdk

#endif // SDK_OUTSIDE_H
