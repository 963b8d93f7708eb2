#pragma once

namespace qsn {

// For a std::unique_ptr whose object is given back to `function`.
template <auto function>
struct Deleter {
    template <class Object>
    void operator()(Object* object) const noexcept {
        function(object);
    }
};

}  // namespace qsn
