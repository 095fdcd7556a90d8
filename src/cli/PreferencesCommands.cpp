#include "cli/CliCommands.h"
#include "cli/CliSupport.h"
#include "formula/IndicatorParameters.h"
#include "preferences/PreferenceFields.h"
#include "settings/MemoryHive.h"
#include "settings/ProgramSettings.h"
#include "startup/Codepage.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <iostream>
#include <memory>

namespace marlindex {

namespace {

struct PreferencesOptions {
    std::string registryFile;
    std::string field;
    std::string value;
};

// One field as `list` writes it: name, indicator, position, value, default.
void WriteField(std::ostream& out, const PreferenceField& field) {
    out << field.name << '\t' << field.Indicator() << '\t' << field.Position() << '\t' << field.text
        << '\t' << field.Default() << '\n';
}

std::string Joined(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) {
        text += (text.empty() ? "" : ", ") + item;
    }
    return text;
}

int List(const PreferencesOptions& options, std::ostream& out, std::ostream& err) {
    SettingsHive store = OpenSettings(options.registryFile, true, err);
    CProgramSettings settings = CProgramSettings::ForMarlindex(*store.hive);
    PreferenceFields preferences(settings);
    preferences.Form_Load();
    for (const PreferenceField& field : preferences.Fields()) {
        WriteField(out, field);
    }
    return Finish(out);
}

std::string CannotSave(const SettingsHive& store) {
    return store.place + ": the settings could not be saved; they are as they were.\n";
}

int Set(const PreferencesOptions& options, std::ostream& out, std::ostream& err) {
    // The name is checked before the settings file is opened for writing, so that a mistyped
    // command changes nothing (opening moves a damaged file aside).
    MemoryHive noSettings;
    CProgramSettings noPreferences(noSettings);
    if (PreferenceFields(noPreferences).Find(options.field) == nullptr) {
        err << "preferences set: there is no field \"" << options.field
            << "\"; 'marlindex-cli preferences list' shows them all.\n";
        return kExitBadInput;
    }
    CodepageError codepage;
    if (!Utf8ToCp1252(options.value, &codepage)) {
        err << "preferences set: " << options.field << ": the value cannot be stored ("
            << codepage.what << " at byte " << codepage.offset
            << "); the settings hold Windows-1252 text only.\n";
        return kExitBadInput;
    }
    SettingsHive store = OpenSettings(options.registryFile, false, err);
    CProgramSettings settings = CProgramSettings::ForMarlindex(*store.hive);
    PreferenceFields preferences(settings);
    const PreferenceField* field = preferences.Find(options.field);
    preferences.Form_Load();
    preferences.Field_Change(field->name, options.value);
    const std::string stored = *preferences.SaveField(field->name);

    const std::string given(TrimBlanks(options.value));
    if (stored != given) {
        err << "warning: " << field->name << ": \"" << options.value << "\" is "
            << (field->kind == FieldKind::Text ? "not a number" : "empty") << "; the default "
            << stored << " was stored.\n";
    } else if (field->kind == FieldKind::Combo &&
               std::none_of(field->list.begin(), field->list.end(),
                            [&](const auto& item) { return EqualsIgnoreCase(item, stored); })) {
        err << "warning: " << field->name << ": \"" << stored << "\" is none of "
            << Joined(field->list) << "; it was stored as given, but formulas use the default "
            << field->Default() << " until it is one of them.\n";
    }

    // The store swallows failed writes: read the value back as it was stored.
    PreferenceField reread = *field;
    reread.text = settings.ReadEntry(ParameterSection(field->Indicator()),
                                     std::to_string(field->Position()), field->Default());
    if (reread.text != (stored.empty() ? reread.Default() : stored)) {
        err << CannotSave(store);
        return kExitFailure;
    }
    WriteField(out, reread);
    return Finish(out);
}

int Reset(const PreferencesOptions& options, std::ostream& err) {
    SettingsHive store = OpenSettings(options.registryFile, false, err);
    CProgramSettings settings = CProgramSettings::ForMarlindex(*store.hive);
    PreferenceFields preferences(settings);
    if (!preferences.ResetAll()) {
        err << CannotSave(store);
        return kExitFailure;
    }
    return kExitOk;
}

} // namespace

void AddPreferencesCommands(CLI::App& app, CliStreams streams, CliCommands& commands) {
    auto options = std::make_shared<PreferencesOptions>();
    CLI::App* preferences = app.add_subcommand(
        "preferences", "The indicators' default parameters, as the Preferences dialog edits them.");
    preferences->require_subcommand(1);
    // --registry may also follow the subcommand ("preferences list --registry FILE").
    preferences->fallthrough();
    preferences->add_option("--registry", options->registryFile, kRegistryOptionHelp);

    CLI::App* list = preferences->add_subcommand(
        "list", "Write every field: name, indicator, position, value, default (TAB separated).");
    commands.push_back(
        {list, [options, streams] { return List(*options, streams.out, streams.err); }});

    CLI::App* set = preferences->add_subcommand(
        "set", "Store one field as the dialog's OK does: a text field that is not a number, or an "
               "empty list field, takes its default; the value is trimmed.");
    set->add_option("FIELD", options->field, "The field's name, as list shows it (I162)")
        ->required();
    set->add_option("VALUE", options->value, "The value")->required();
    commands.push_back(
        {set, [options, streams] { return Set(*options, streams.out, streams.err); }});

    CLI::App* reset = preferences->add_subcommand(
        "reset", "Remove every stored preference, so that the defaults apply again.");
    commands.push_back({reset, [options, streams] { return Reset(*options, streams.err); }});
}

} // namespace marlindex
