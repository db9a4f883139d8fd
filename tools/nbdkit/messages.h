#ifndef VHDX_TOOLS_NBDKIT_MESSAGES_H
#define VHDX_TOOLS_NBDKIT_MESSAGES_H

#include <cerrno>
#include <exception>
#include <new>
#include <string>

namespace NPlugin {

/// What a callback returns that failed: nbdkit says the reason, and hands its client the error.
int Refuse(int error, const std::string& reason);

/// What is no error: nbdkit itself says only errors.
void Say(const std::string& text);

/// No exception may reach nbdkit, which is C.
template <class TRun>
int Guarded(TRun run) {
    try {
        return run();
    } catch (const std::bad_alloc&) {
        return Refuse(ENOMEM, "there is not enough memory");
    } catch (const std::exception& error) {
        return Refuse(EIO, error.what());
    }
}

}  // namespace NPlugin

#endif
