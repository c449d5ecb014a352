#ifndef QUARN_LOGGING_CQ_OPTION_PARSER_H
#define QUARN_LOGGING_CQ_OPTION_PARSER_H

#include <QuarnLogging/Logging.h>

#include <ace/SString.h>

#include <cstdint>
#include <vector>

namespace Quarn::Logging {

/// @brief Reads an options string into plain settings, without acting on them.
///
/// The string is a list of options with ";" between them; an option is a letter and, up to the ";", its value. The
/// grammar has no errors: an unknown letter is skipped with its value, a malformed number is read as far as it goes, an
/// unknown level character stands for LEVEL_NONE. docs/options.md shows it from the user's side.
///
/// @par Threads  one
class CQOptionParser
{
public:
    /// Told what was read, and where it stands, while a string is read. For who explains strings to users.
    class Observer
    {
    public:
        /// A category and its level, which is the last one of the level settings now.
        virtual void PairRead(const wchar_t* begin, const wchar_t* end) = 0;
        /// A whole option, its letter included. The end is the ";" behind it, or the end of the string.
        virtual void OptionRead(const wchar_t* begin, const wchar_t* end) = 0;

    protected:
        ~Observer() = default;
    };

    CQOptionParser();
    CQOptionParser(const CQOptionParser&) = delete;
    CQOptionParser& operator=(const CQOptionParser&) = delete;

    /// Reads a whole string; null reads like the empty one. The string must stay valid during the call. A second call
    /// on the same object starts afresh, but for the number of log files, which keeps its value.
    void ParseOptions(const wchar_t* options, Observer* observer = nullptr);

    /// The level of a string of exactly one character, which is no list of options. Digits above 5 mean debug here, but
    /// nothing inside a list.
    static std::int32_t LevelOfShortcut(wchar_t character);

    /// Number of category levels read.
    std::uint32_t GetNumberOfLevelSettings() const { return static_cast<std::uint32_t>(m_LevelSettings.size()); }

    /// Copies all category levels, in the order written, to an array of GetNumberOfLevelSettings() entries.
    void GetLevelSettings(SLevelDef* out) const;

    std::int32_t GetDefaultLevel() const { return m_DefaultLevel; }
    bool GetColorSetting() const { return m_ColorSetting; }
    const ACE_String_Base<wchar_t>& GetLogFileName() const { return m_LogFileName; }
    std::uint32_t GetLogFileSize() const { return m_LogFileSize; }
    std::uint32_t GetMaxCountLogFiles() const { return m_MaxCountLogFiles; }

private:
    wchar_t CurrentChar() const { return m_pCurrentChar == nullptr ? L'\0' : *m_pCurrentChar; }
    void AdvanceCharPos();
    bool EndOfSubSettings() const { return CurrentChar() == L'\0' || CurrentChar() == L';'; }
    std::int32_t GetNum();
    std::int32_t GetLevel();
    void ParseOption();
    void AppendSubSettings(ACE_String_Base<wchar_t>& text);
    void SkipSubSettings();

    // Each begins with the position on its letter and ends with it on the ";" behind the option or on the final 0.
    void ParseDefaultLevel();
    void ParseLevelSettings();
    void ParseColorSetting();
    void ParseLogFileName();
    void ParseLogFileSize();
    void ParseMaxCountLogFiles();
    void ParseUnknownSetting();

    std::vector<SLevelDef> m_LevelSettings;   ///< From "o", in the order written.
    std::int32_t m_DefaultLevel = LEVEL_NONE; ///< From "l".
    const wchar_t* m_pCurrentChar = nullptr;  ///< Null when parsing is over.
    Observer* m_pObserver = nullptr;          ///< Null but while a string is read for one.
    bool m_ColorSetting = false;              ///< From "c".
    ACE_String_Base<wchar_t> m_LogFileName;   ///< From "L".
    std::uint32_t m_LogFileSize = 0;          ///< From "S", bytes.
    std::uint32_t m_MaxCountLogFiles = 0;     ///< From "N".
};

} // namespace Quarn::Logging

#endif
