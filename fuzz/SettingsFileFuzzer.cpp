// libFuzzer target for the settings file reader (REGEDIT4 text, or the registry editor's
// UTF-16 export). Whatever the bytes, the reader returns the settings or a problem placed by
// its line with a short message; it never crashes or hangs. Settings it returns write to a
// file that reads back to the same settings, and writing again gives the same bytes.
#include "settings/RegeditText.h"
#include "settings/RegistryData.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const marlindex::Result<std::string> text = marlindex::RegeditFileAsRegedit4(bytes);
    if (!text) {
        return 0;
    }
    const marlindex::Result<marlindex::RegistryData> read =
        marlindex::RegistryData::FromRegedit4(*text);
    if (!read) {
        const std::string message = read.problem().Message();
        if (read.problem().where.line == 0 || message.size() > 400 ||
            message.find('\n') != std::string::npos) {
            std::abort();
        }
        return 0;
    }
    const std::string written = read->ToRegedit4();
    const marlindex::Result<marlindex::RegistryData> again =
        marlindex::RegistryData::FromRegedit4(written);
    if (!again || again->ToRegedit4() != written) {
        std::abort();
    }
    return 0;
}
