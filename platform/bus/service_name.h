// Names on the bus: NAME belongs to whoever listens behind /var/run/bsvc/NAME.sock.
#pragma once

#include <sys/un.h>

#include <optional>
#include <string>

#include "base/descriptor.h"

namespace bsvc {

using nas::Descriptor;

// The socket address of a service. False for what is no service name: empty, with a "/" in it, or too long for an
// address.
bool service_address(const char* service, sockaddr_un& address);

// A name on the bus and the listening socket behind it. Ended, it gives the name back.
class OwnedName {
public:
    // Nothing when the name cannot be had; errno says why: EADDRINUSE when a live service has it, EINVAL when it is
    // no name, EEXIST when something that is no socket stands in its place.
    static std::optional<OwnedName> take(const char* service);

    OwnedName(OwnedName&&) noexcept = default;
    OwnedName& operator=(OwnedName&&) = delete;
    ~OwnedName();

    int listener() const { return listener_.get(); }

private:
    OwnedName(const sockaddr_un& address, Descriptor listener);
    bool is_own_file() const;

    sockaddr_un address_;
    Descriptor listener_;
    // Which file is ours: by now another service may have found the name free and put its own socket there.
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

}  // namespace bsvc
