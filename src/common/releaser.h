// The deleter of owners: std::unique_ptr<FILE, Releaser<std::fclose>>. The library's own.
#pragma once

namespace harbex::system {

template <auto Release>
struct Releaser {
    template <typename T>
    void operator()(T* resource) const {
        (void)Release(resource);
    }
};

}  // namespace harbex::system
