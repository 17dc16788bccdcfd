#pragma once

#include "settings/BrightwaterSettings.h"

#include "proof/HashMethod.h"

#include <array>
#include <string_view>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

namespace ferrydeck {

// Every option of the main window and its settings drawer. Scalars are plain
// values any thread may read (atomics only so that such reads are defined);
// the strings are swapped whole under a lock.
class FerrydeckSettings : public BrightwaterSettings {
public:
    // Asks the machine for its processor count once, for the initial thread count.
    FerrydeckSettings();
    // The window's choices as stored in verificationOption and selectedLogOption.
    static constexpr int32_t kVerifyBySize = 0;
    static constexpr int32_t kVerifyByContents = 1;
    static constexpr int32_t kVerifyNone = 2;
    // Options past the designed three verify by checksum, in the order people
    // are offered them: kVerifyByChecksum + the index in kChecksumOptions.
    static constexpr int32_t kVerifyByChecksum = 3;
    static constexpr std::array<HashMethod, 6> kChecksumOptions = {
        HashMethod::Xxh64, HashMethod::Xxh3, HashMethod::Xxh128, HashMethod::Md5, HashMethod::Sha1, HashMethod::C4};
    // "size", "contents", "none" or a checksum's name; an unknown option is size.
    static std::string verificationName(int32_t option);
    static std::optional<int32_t> verificationOptionForName(std::string_view name);
    static std::optional<HashMethod> checksumForOption(int32_t option);
    static constexpr int32_t kLogVerbose = 0;
    static constexpr int32_t kLogMinimal = 1;

    explicit FerrydeckSettings(int32_t processorCount);

    std::optional<std::vector<std::string>> findMemberKeys() const override;
    std::optional<Dictionary> findValueForKey(const std::string &key) const override;
    std::optional<Dictionary> createPresetDictionary() const override;
    // Each key is applied on its own: a value that cannot be read as its
    // field's kind is skipped and the other keys still load. The thread count
    // is not bounded here.
    void retrieveKeyValuesFromDictionary(const Dictionary *dictionary) override;

    bool settingsPanelOpen() const { return m_settingsPanelOpen; }
    void setSettingsPanelOpen(bool value) { m_settingsPanelOpen = value; }
    bool ejectCard() const { return m_ejectCard; }
    void setEjectCard(bool value) { m_ejectCard = value; }
    bool formatCard() const { return m_formatCard; }
    void setFormatCard(bool value) { m_formatCard = value; }
    bool playSound() const { return m_playSound; }
    void setPlaySound(bool value) { m_playSound = value; }
    bool renameCard() const { return m_renameCard; }
    void setRenameCard(bool value) { m_renameCard = value; }
    bool incrementRenameTitle() const { return m_incrementRenameTitle; }
    void setIncrementRenameTitle(bool value) { m_incrementRenameTitle = value; }
    int32_t renameCounter() const { return m_renameCounter; }
    void setRenameCounter(int32_t value) { m_renameCounter = value; }
    std::string textRenameCard() const;
    void setTextRenameCard(const std::string &value);
    int32_t selectedLogOption() const { return m_selectedLogOption; }
    void setSelectedLogOption(int32_t value) { m_selectedLogOption = value; }
    int32_t verificationOption() const { return m_verificationOption; }
    void setVerificationOption(int32_t value) { m_verificationOption = value; }
    int32_t namingConventionIndex() const { return m_namingConventionIndex; }
    void setNamingConventionIndex(int32_t value) { m_namingConventionIndex = value; }
    int32_t valueConsecutiveNumbering() const { return m_valueConsecutiveNumbering; }
    void setValueConsecutiveNumbering(int32_t value) { m_valueConsecutiveNumbering = value; }
    int32_t offloadModeIndex() const { return m_offloadModeIndex; }
    void setOffloadModeIndex(int32_t value) { m_offloadModeIndex = value; }
    int32_t volumeTypeIndex() const { return m_volumeTypeIndex; }
    void setVolumeTypeIndex(int32_t value) { m_volumeTypeIndex = value; }
    int32_t logOptionIndex() const { return m_logOptionIndex; }
    void setLogOptionIndex(int32_t value) { m_logOptionIndex = value; }
    bool addPrefix() const { return m_addPrefix; }
    void setAddPrefix(bool value) { m_addPrefix = value; }
    bool addSuffix() const { return m_addSuffix; }
    void setAddSuffix(bool value) { m_addSuffix = value; }
    std::string textCustomName() const;
    void setTextCustomName(const std::string &value);
    std::string textPrefix() const;
    void setTextPrefix(const std::string &value);
    std::string textSuffix() const;
    void setTextSuffix(const std::string &value);
    std::string textLogDirectory() const;
    void setTextLogDirectory(const std::string &value);
    bool warnBeforeFormatting() const { return m_warnBeforeFormatting; }
    void setWarnBeforeFormatting(bool value) { m_warnBeforeFormatting = value; }
    bool alertOnFailedFormat() const { return m_alertOnFailedFormat; }
    void setAlertOnFailedFormat(bool value) { m_alertOnFailedFormat = value; }
    bool alertWhenLogsNotSaved() const { return m_alertWhenLogsNotSaved; }
    void setAlertWhenLogsNotSaved(bool value) { m_alertWhenLogsNotSaved = value; }
    bool autoSaveLogs() const { return m_autoSaveLogs; }
    void setAutoSaveLogs(bool value) { m_autoSaveLogs = value; }
    int32_t amountOfCopyThreads() const { return m_amountOfCopyThreads; }
    void setAmountOfCopyThreads(int32_t value) { m_amountOfCopyThreads = value; }
    // Bounds of the copy-thread control, fixed when the object is made.
    int32_t minimumThreads() const { return m_minimumThreads; }
    int32_t maximumThreads() const { return m_maximumThreads; }

private:
    struct Field;
    // The 26 stored fields in lookup order.
    static const std::vector<Field> &fields();
    static const Field *fieldForKey(const std::string &key);

    std::string text(const std::string FerrydeckSettings::*member) const;
    void setText(std::string FerrydeckSettings::*member, const std::string &value);

    std::atomic<bool> m_settingsPanelOpen{false};
    std::atomic<bool> m_ejectCard{false};
    std::atomic<bool> m_formatCard{false};
    std::atomic<bool> m_playSound{false};
    std::atomic<bool> m_renameCard{false};
    std::atomic<bool> m_incrementRenameTitle{false};
    std::atomic<int32_t> m_renameCounter{1};
    std::string m_textRenameCard;
    std::atomic<int32_t> m_selectedLogOption{1};
    std::atomic<int32_t> m_verificationOption{0};
    std::atomic<int32_t> m_namingConventionIndex{0};
    std::atomic<int32_t> m_valueConsecutiveNumbering{1};
    std::atomic<int32_t> m_offloadModeIndex{0};
    std::atomic<int32_t> m_volumeTypeIndex{0};
    std::atomic<int32_t> m_logOptionIndex{1};
    std::atomic<bool> m_addPrefix{false};
    std::atomic<bool> m_addSuffix{false};
    std::string m_textCustomName;
    std::string m_textPrefix;
    std::string m_textSuffix;
    std::string m_textLogDirectory;
    std::atomic<bool> m_warnBeforeFormatting{true};
    std::atomic<bool> m_alertOnFailedFormat{true};
    std::atomic<bool> m_alertWhenLogsNotSaved{true};
    std::atomic<bool> m_autoSaveLogs{false};
    std::atomic<int32_t> m_amountOfCopyThreads{1};
    const int32_t m_minimumThreads = 1;
    const int32_t m_maximumThreads = 10;

    mutable std::mutex m_textMutex;
};

} // namespace ferrydeck
