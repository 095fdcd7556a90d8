// libFuzzer target for the library file reader. Whatever the bytes, the reader either returns
// a library or a problem; it never crashes, hangs or allocates from a count it has not
// checked. A library it returns can always be written, and writing is stable: what
// was written reads back and writes to the same bytes.
#include "library/LibraryFile.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const marlindex::Result<marlindex::Library> library = marlindex::ReadLibrary(bytes);
    if (!library) {
        return 0;
    }
    const marlindex::Result<std::string> written = marlindex::WriteLibrary(*library);
    if (!written) {
        std::abort();
    }
    const marlindex::Result<marlindex::Library> again = marlindex::ReadLibrary(*written);
    if (!again) {
        std::abort();
    }
    const marlindex::Result<std::string> rewritten = marlindex::WriteLibrary(*again);
    if (!rewritten || *rewritten != *written) {
        std::abort();
    }
    return 0;
}
