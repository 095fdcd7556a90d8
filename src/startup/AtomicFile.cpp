#include "startup/AtomicFile.h"

#include <fstream>
#include <iterator>
#include <random>

namespace marlindex {

namespace fs = std::filesystem;

std::optional<std::string> ReadWholeFile(const fs::path& path, std::error_code* error) {
    std::error_code status;
    if (fs::is_directory(path, status)) {
        if (error != nullptr) {
            *error = std::make_error_code(std::errc::is_a_directory);
        }
        return std::nullopt;
    }
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
    std::string bytes;
    try {
        bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    } catch (const std::ios_base::failure&) {
        // The stream buffer reports a failed read (a device, a vanished file) by throwing.
        in.setstate(std::ios::badbit);
    }
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
    // Without a given name the temporary one is unique, so two writers never share it.
    const auto uniqueName = [&] {
        std::random_device random;
        return path.filename().string() + "." + std::to_string(random()) + ".tmp";
    };
    const fs::path temporary =
        path.parent_path() / (temporaryName.empty() ? fs::path(uniqueName()) : temporaryName);
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
    for (int n = 1; fs::exists(target, ec) || ec; ++n) {
        if (n > 9999) {
            return std::nullopt; // rather keep the file where it is than lose an earlier copy
        }
        target = path.string() + std::string(suffix) + std::to_string(n);
    }
    fs::rename(path, target, ec);
    if (ec) {
        return std::nullopt;
    }
    return target;
}

} // namespace marlindex
