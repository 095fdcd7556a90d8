#include "startup/AtomicFile.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <istream>
#include <random>

namespace marlindex {

namespace fs = std::filesystem;

namespace {

// What a path that is not a regular file is, for the message that refuses it.
std::string_view FileTypeName(fs::file_type type) {
    switch (type) {
    case fs::file_type::directory:
        return "a folder";
    case fs::file_type::fifo:
        return "a pipe";
    case fs::file_type::character:
    case fs::file_type::block:
        return "a device";
    case fs::file_type::socket:
        return "a socket";
    default:
        return "not a regular file";
    }
}

} // namespace

std::optional<std::string> ReadWholeFile(const fs::path& path, std::error_code* error) {
    std::error_code status;
    const fs::file_type type = fs::status(path, status).type();
    if (type == fs::file_type::directory) {
        if (error != nullptr) {
            *error = std::make_error_code(std::errc::is_a_directory);
        }
        return std::nullopt;
    }
    if (!status && type != fs::file_type::regular) {
        if (error != nullptr) {
            *error = std::make_error_code(std::errc::invalid_argument);
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
        // Block reads: a character at a time takes longer than parsing what was read.
        std::array<char, 1 << 16> block{};
        while (in.read(block.data(), static_cast<std::streamsize>(block.size())) ||
               in.gcount() > 0) {
            bytes.append(block.data(), static_cast<std::size_t>(in.gcount()));
        }
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

std::string DescribeSize(std::uintmax_t bytes) {
    constexpr std::array<const char*, 3> kUnits{"KB", "MB", "GB"};
    if (bytes < 1024) {
        return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
    }
    double size = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    while (size >= 1024 && unit + 1 < kUnits.size()) {
        size /= 1024;
        ++unit;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), size < 10 ? "%.1f %s" : "%.0f %s", size, kUnits[unit]);
    return text.data();
}

Result<std::string> ReadInputFile(const fs::path& path, const InputFileKind& kind) {
    const auto refuse = [&](ProblemKind problemKind, std::string what) -> Result<std::string> {
        return Problem{problemKind, Place::InFile(Utf8Path(path)), std::move(what)};
    };
    std::error_code ec;
    const fs::file_status status = fs::status(path, ec);
    if (status.type() == fs::file_type::not_found) {
        // A name the user gave that leads nowhere is the user's to correct.
        return refuse(ProblemKind::BadInput, "there is no such " + std::string(kind.name));
    }
    if (ec) {
        return refuse(ProblemKind::Failure,
                      "cannot read the " + std::string(kind.name) + ": " + ec.message());
    }
    if (status.type() != fs::file_type::regular) {
        return refuse(ProblemKind::BadInput, "is " + std::string(FileTypeName(status.type())) +
                                                 ", not a regular file; a " +
                                                 std::string(kind.name) + " must be one");
    }
    const std::uintmax_t size = fs::file_size(path, ec);
    if (!ec && size > kind.maxBytes) {
        return refuse(ProblemKind::BadInput, "is " + DescribeSize(size) + ", larger than a " +
                                                 std::string(kind.name) + " can be (at most " +
                                                 DescribeSize(kind.maxBytes) +
                                                 "), so it was not read");
    }
    std::optional<std::string> bytes = ReadWholeFile(path, &ec);
    if (!bytes) {
        return refuse(ProblemKind::Failure,
                      "cannot read the " + std::string(kind.name) + ": " + ec.message());
    }
    // The file may have grown between the look and the read.
    if (bytes->size() > kind.maxBytes) {
        return refuse(ProblemKind::BadInput, "grew past " + DescribeSize(kind.maxBytes) +
                                                 " while it was read, so it was not read");
    }
    return std::move(*bytes);
}

Result<std::string> ReadInputStream(std::istream& in, const std::string& name,
                                    const InputFileKind& kind) {
    std::string bytes;
    std::array<char, 65536> buffer{};
    while (in.read(buffer.data(), buffer.size()) || in.gcount() > 0) {
        bytes.append(buffer.data(), static_cast<std::size_t>(in.gcount()));
        if (bytes.size() > kind.maxBytes) {
            return Problem{ProblemKind::BadInput, Place::InFile(name),
                           "holds more than " + DescribeSize(kind.maxBytes) + ", more than a " +
                               std::string(kind.name) + " can be, so it was not read"};
        }
    }
    if (in.bad()) {
        return Problem{ProblemKind::Failure, Place::InFile(name),
                       "cannot read the " + std::string(kind.name)};
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
