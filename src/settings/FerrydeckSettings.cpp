#include "settings/FerrydeckSettings.h"

#include "fsutil/HardwareUtilities.h"
#include "fsutil/UserDirectories.h"

#include <exception>

namespace ferrydeck {

// Exactly one of the three members is set.
struct FerrydeckSettings::Field {
    const char *key;
    std::atomic<bool> FerrydeckSettings::*flag;
    std::atomic<int32_t> FerrydeckSettings::*number;
    std::string FerrydeckSettings::*text;
};

FerrydeckSettings::FerrydeckSettings()
    : FerrydeckSettings(HardwareUtilities::countProcessors())
{
}

FerrydeckSettings::FerrydeckSettings(int32_t processorCount)
    : m_textLogDirectory(UserDirectories::home())
    , m_amountOfCopyThreads(processorCount)
{
}

const std::vector<FerrydeckSettings::Field> &FerrydeckSettings::fields()
{
    using S = FerrydeckSettings;
    auto flag = [](const char *key, std::atomic<bool> S::*member) { return Field{key, member, nullptr, nullptr}; };
    auto number = [](const char *key, std::atomic<int32_t> S::*member) { return Field{key, nullptr, member, nullptr}; };
    auto text = [](const char *key, std::string S::*member) { return Field{key, nullptr, nullptr, member}; };
    // Several keys differ from the field names; the keys are the stored format.
    static const std::vector<Field> table = {
        flag("settingsPanelOpen", &S::m_settingsPanelOpen),
        flag("ejectCard", &S::m_ejectCard),
        flag("formatCard", &S::m_formatCard),
        flag("playSound", &S::m_playSound),
        flag("renameCard", &S::m_renameCard),
        flag("incrementRenameTitle", &S::m_incrementRenameTitle),
        text("renameText", &S::m_textRenameCard),
        number("renameCounter", &S::m_renameCounter),
        number("selectedLogIndex", &S::m_selectedLogOption),
        number("selectedVerifyIndex", &S::m_verificationOption),
        number("offloadModeIndex", &S::m_offloadModeIndex),
        number("volumeTypeIndex", &S::m_volumeTypeIndex),
        number("logOptionIndex", &S::m_logOptionIndex),
        flag("warnBeforeFormatting", &S::m_warnBeforeFormatting),
        flag("alertWhenFormatFails", &S::m_alertOnFailedFormat),
        flag("alertWhenLogsNotSaved", &S::m_alertWhenLogsNotSaved),
        flag("autoSaveLogs", &S::m_autoSaveLogs),
        number("amountOfThreads", &S::m_amountOfCopyThreads),
        number("conventionIndex", &S::m_namingConventionIndex),
        number("numberingValue", &S::m_valueConsecutiveNumbering),
        text("customNamingConvention", &S::m_textCustomName),
        flag("addPrefix", &S::m_addPrefix),
        flag("addSuffix", &S::m_addSuffix),
        text("prefixText", &S::m_textPrefix),
        text("suffixText", &S::m_textSuffix),
        text("logText", &S::m_textLogDirectory),
    };
    return table;
}

const FerrydeckSettings::Field *FerrydeckSettings::fieldForKey(const std::string &key)
{
    for (const Field &field : fields()) {
        if (key == field.key) return &field;
    }
    return nullptr;
}

std::optional<std::vector<std::string>> FerrydeckSettings::findMemberKeys() const
{
    // Deliberately not the lookup order; nothing depends on this one.
    return std::vector<std::string>{"settingsPanelOpen",
                                    "ejectCard",
                                    "formatCard",
                                    "playSound",
                                    "renameCard",
                                    "incrementRenameTitle",
                                    "renameCounter",
                                    "renameText",
                                    "selectedLogIndex",
                                    "selectedVerifyIndex",
                                    "offloadModeIndex",
                                    "volumeTypeIndex",
                                    "logOptionIndex",
                                    "warnBeforeFormatting",
                                    "alertWhenFormatFails",
                                    "alertWhenLogsNotSaved",
                                    "autoSaveLogs",
                                    "amountOfThreads",
                                    "conventionIndex",
                                    "customNamingConvention",
                                    "addPrefix",
                                    "addSuffix",
                                    "numberingValue",
                                    "prefixText",
                                    "suffixText",
                                    "logText"};
}

std::optional<Dictionary> FerrydeckSettings::findValueForKey(const std::string &key) const
{
    const Field *field = fieldForKey(key);
    if (!field) return std::nullopt;
    if (field->flag) return Dictionary((this->*(field->flag)).load());
    if (field->number) return Dictionary((this->*(field->number)).load());
    return Dictionary(text(field->text));
}

std::optional<Dictionary> FerrydeckSettings::createPresetDictionary() const
{
    Dictionary dictionary = Dictionary::object();
    for (const Field &field : fields()) {
        if (std::optional<Dictionary> value = findValueForKey(field.key)) dictionary[field.key] = std::move(*value);
    }
    return dictionary;
}

void FerrydeckSettings::retrieveKeyValuesFromDictionary(const Dictionary *dictionary)
{
    if (!dictionary || !dictionary->is_object()) return;
    for (const auto &[key, value] : dictionary->items()) {
        try {
            const Field *field = fieldForKey(key);
            if (!field) continue;
            if (field->flag) {
                if (const std::optional<bool> reading = DictionaryValues::boolValue(value)) {
                    (this->*(field->flag)).store(*reading);
                }
            } else if (field->number) {
                if (const std::optional<int32_t> reading = DictionaryValues::intValue(value)) {
                    (this->*(field->number)).store(*reading);
                }
            } else if (value.is_string()) {
                // A string field takes only text; the string is copied, so a
                // caller changing its dictionary later changes nothing here.
                setText(field->text, value.get<std::string>());
            }
        } catch (const std::exception &) {
            // One damaged entry must not cost the others.
        }
    }
}

std::string FerrydeckSettings::text(const std::string FerrydeckSettings::*member) const
{
    std::lock_guard lock(m_textMutex);
    return this->*member;
}

void FerrydeckSettings::setText(std::string FerrydeckSettings::*member, const std::string &value)
{
    std::lock_guard lock(m_textMutex);
    this->*member = value;
}

std::string FerrydeckSettings::textRenameCard() const
{
    return text(&FerrydeckSettings::m_textRenameCard);
}

void FerrydeckSettings::setTextRenameCard(const std::string &value)
{
    setText(&FerrydeckSettings::m_textRenameCard, value);
}

std::string FerrydeckSettings::textCustomName() const
{
    return text(&FerrydeckSettings::m_textCustomName);
}

void FerrydeckSettings::setTextCustomName(const std::string &value)
{
    setText(&FerrydeckSettings::m_textCustomName, value);
}

std::string FerrydeckSettings::textPrefix() const
{
    return text(&FerrydeckSettings::m_textPrefix);
}

void FerrydeckSettings::setTextPrefix(const std::string &value)
{
    setText(&FerrydeckSettings::m_textPrefix, value);
}

std::string FerrydeckSettings::textSuffix() const
{
    return text(&FerrydeckSettings::m_textSuffix);
}

void FerrydeckSettings::setTextSuffix(const std::string &value)
{
    setText(&FerrydeckSettings::m_textSuffix, value);
}

std::string FerrydeckSettings::textLogDirectory() const
{
    return text(&FerrydeckSettings::m_textLogDirectory);
}

void FerrydeckSettings::setTextLogDirectory(const std::string &value)
{
    setText(&FerrydeckSettings::m_textLogDirectory, value);
}

std::optional<HashMethod> FerrydeckSettings::checksumForOption(int32_t option)
{
    const int64_t index = static_cast<int64_t>(option) - kVerifyByChecksum;
    if (index < 0 || index >= static_cast<int64_t>(kChecksumOptions.size())) return std::nullopt;
    return kChecksumOptions[static_cast<size_t>(index)];
}

std::string FerrydeckSettings::verificationName(int32_t option)
{
    if (const std::optional<HashMethod> method = checksumForOption(option)) return std::string(hashMethodName(*method));
    return option == kVerifyByContents ? "contents" : option == kVerifyNone ? "none" : "size";
}

std::optional<int32_t> FerrydeckSettings::verificationOptionForName(std::string_view name)
{
    for (int32_t option = 0; option < kVerifyByChecksum + static_cast<int32_t>(kChecksumOptions.size()); ++option)
        if (verificationName(option) == name) return option;
    return std::nullopt;
}

} // namespace ferrydeck
