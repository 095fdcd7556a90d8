// The registry tree behind both hives: keys under the predefined roots, each key holding
// subkeys and named values, plus reading and writing it as REGEDIT4 text.
//
// Key paths and value names follow the registry's rules: ASCII letter case does not matter,
// empty path segments are ignored, and a name keeps the spelling it was first written with.
// Values keep the order they were first written in, so a file keeps its shape when it is
// written back. Everything here is Windows-1252 bytes; nothing is converted.
#pragma once

#include "settings/RegistryHive.h"
#include "startup/Problem.h"

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace marlindex {

// The registry's own limits, kept so that a file which Windows could not import is refused
// here too, and so that a hostile file cannot build a tree deep enough to exhaust the stack.
inline constexpr std::size_t kMaxKeyNameLength = 255;
inline constexpr std::size_t kMaxKeyDepth = 512;

// "HKEY_CURRENT_USER" and so on; nullopt for any other text (letter case does not matter).
std::optional<RegistryRoot> RegistryRootFromName(std::string_view name);
std::string_view RegistryRootName(RegistryRoot root);

class RegistryData {
public:
    // nullopt when the key or the value is missing.
    std::optional<RegistryValue> Read(RegistryRoot root, std::string_view path,
                                      std::string_view name) const;

    // Creates the key and its missing ancestors, then stores the value (replacing one of the
    // same name, whose first spelling is kept). false, with nothing changed, for a key path
    // or name the registry (or a REGEDIT4 file) cannot hold: a segment longer than
    // kMaxKeyNameLength, a path deeper than kMaxKeyDepth, or a NUL, CR or LF in a name.
    bool Write(RegistryRoot root, std::string_view path, std::string_view name,
               const RegistryValue& value);
    bool CreateKey(RegistryRoot root, std::string_view path);
    // Removes a value (the key stays); false when there was no such value.
    bool Remove(RegistryRoot root, std::string_view path, std::string_view name);

    bool HasKey(RegistryRoot root, std::string_view path) const;
    // The value names of a key in the order they were first written; empty for a missing key.
    std::vector<std::string> ValueNames(RegistryRoot root, std::string_view path) const;

    bool empty() const { return roots_.empty(); }

    // The whole tree as a REGEDIT4 file: CR LF line ends, keys in case-insensitive order
    // (each key before its subkeys), every value exactly as stored.
    std::string ToRegedit4() const;

    // Parses REGEDIT4 text. Anything not understood is bad input placed by its line, never
    // skipped: a file that loads must mean exactly what it says.
    static Result<RegistryData> FromRegedit4(std::string_view text);

private:
    struct NamedValue {
        std::string name; // first spelling
        RegistryValue value;
    };

    // Subkeys and values are found through ordered and hashed indexes, so that reading a file
    // of n keys or n values takes time in proportion to n, whatever their order.
    struct Key {
        std::string name;                                // first spelling
        std::map<std::string, Key, std::less<>> subkeys; // by lower-case name, in file order
        std::vector<NamedValue> values;                  // in the order first written
        std::unordered_map<std::string, std::size_t> valueIndex; // lower-case name -> position
    };

    struct Root {
        RegistryRoot root;
        Key key;
    };

    const Key* FindKey(RegistryRoot root, std::string_view path) const;
    Key* FindOrCreateKey(RegistryRoot root, std::string_view path);
    Key* FindOrCreateKey(RegistryRoot root, const std::vector<std::string_view>& segments);
    static const NamedValue* FindValue(const Key& key, std::string_view name);
    static void SetValue(Key& key, std::string_view name, const RegistryValue& value);
    static void WriteKey(std::string& out, const Key& key, std::string& path);

    std::vector<Root> roots_; // sorted by root handle value
};

} // namespace marlindex
