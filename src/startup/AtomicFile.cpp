#include "startup/AtomicFile.h"

#include <fstream>
#include <iterator>

namespace marlindex {

namespace fs = std::filesystem;

std::optional<std::string> ReadWholeFile(const fs::path& path, std::error_code* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (error != nullptr) {
            std::error_code ec;
            *error = fs::exists(path, ec)
                         ? std::make_error_code(std::errc::permission_denied)
                         : std::make_error_code(std::errc::no_such_file_or_directory);
        }
        return std::nullopt;
    }
    std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (in.bad()) {
        if (error != nullptr) {
            *error = std::make_error_code(std::errc::io_error);
        }
        return std::nullopt;
    }
    return bytes;
}

std::error_code WriteFileAtomically(const fs::path& path, std::string_view bytes,
                                    const fs::path& temporaryName) {
    const fs::path temporary =
        path.parent_path() /
        (temporaryName.empty() ? fs::path(path.filename().string() + ".tmp") : temporaryName);
    std::error_code ec;
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        if (!out) {
            return std::make_error_code(std::errc::permission_denied);
        }
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.flush();
        if (!out) {
            out.close();
            fs::remove(temporary, ec);
            return std::make_error_code(std::errc::io_error);
        }
    }
    fs::rename(temporary, path, ec);
    if (ec) {
        std::error_code ignored;
        fs::remove(temporary, ignored);
    }
    return ec;
}

std::optional<fs::path> KeepAside(const fs::path& path, std::string_view suffix) {
    std::error_code ec;
    fs::path target = path.string() + std::string(suffix);
    for (int n = 1; fs::exists(target, ec) && n < 1000; ++n) {
        target = path.string() + std::string(suffix) + std::to_string(n);
    }
    fs::rename(path, target, ec);
    if (ec) {
        return std::nullopt;
    }
    return target;
}

} // namespace marlindex
