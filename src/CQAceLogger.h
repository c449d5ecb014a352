#ifndef QUARN_LOGGING_CQ_ACE_LOGGER_H
#define QUARN_LOGGING_CQ_ACE_LOGGER_H

#include <QuarnLogging/IQLogger.h>

#include <ace/SString.h>

#include <cstdint>
#include <cstdio>

namespace Quarn::Logging {

struct SLogLine;

/// @brief The logger that comes with the library: one line for each message, to the console or to a log file.
///
/// A log file has a current name, and when it is full, deselected or left over from an earlier run it is renamed to a
/// name with a time stamp, of which a bounded number is kept. docs/log-files.md has the names.
///
/// @par Threads  no lock: the facade calls Log() and MessagesDropped() under its dispatch mutex, and everything else is
///               called while no dispatch runs
/// @par Failure  nothing is reported; what cannot be written, renamed or deleted is left, and a file that cannot be
///               opened is tried again with the next line
class CQAceLogger : public IQLogger
{
public:
    CQAceLogger() = default;

    /// Closes the current file and gives it a time-stamped name.
    ~CQAceLogger() override;

    CQAceLogger(const CQAceLogger&) = delete;
    CQAceLogger& operator=(const CQAceLogger&) = delete;

    /// Writes one line, flushed when this returns.
    void Log(int level, int category, double time, unsigned int threadId, const char* file, int line,
             const wchar_t* text) override;

    /// Prints a notice to standard output, always, and flushes the current output, whichever that is.
    void MessagesDropped(unsigned int count) override;

    /// Does nothing: this logger reports no errors.
    void SetErrorHandler(IQErrorHandler* handler) override;

    /// @brief Selects the output; the file written so far gets its time-stamped name.
    ///
    /// @param[in] name   pattern of the file name, in which the first "%T" marks the place of the time stamp; an empty
    ///                   one selects standard output
    /// @param[in] size   bytes after which a file is full; 0: never
    /// @param[in] count  time-stamped files that are kept; 0 is taken as 1
    void SetOutputStream(const wchar_t* name, unsigned int size, unsigned int count);

    /// Whether lines are coloured, in files too.
    bool m_UseColor = false;

private:
    using WideString = ACE_String_Base<wchar_t>;

    int Write(const SLogLine& line);
    int WriteWide(const SLogLine& line);
    void SplitPattern();
    void OpenFile();
    void OpenFileLate();
    void CloseFile();
    void CreateDirectoryOfFile() const;
    bool IsFileOpen() const { return m_pStream != nullptr && m_pStream != stdout; }
    void MoveFileAside();
    void Rotate();
    void RotateFullFile();
    void GetNewFileName(WideString& result);
    void RemoveOldFiles();
    static int FileNameSort(const void* a, const void* b);

    WideString m_FileNamePattern;     ///< As given to SetOutputStream().
    WideString m_FileName;            ///< The file that is being written.
    WideString m_FileNamePrefix;      ///< The pattern in front of its "%T".
    WideString m_FileNameSuffix;      ///< The pattern behind its "%T".
    std::FILE* m_pStream = stdout;    ///< Owned if it is a file. Null: the file could not be opened.
    bool m_IsLinePending = false;     ///< In the stream's buffer: the thread was cancelled while it wrote the line.
    std::uint32_t m_MaxFileSize = 0;  ///< Bytes; 0: no limit.
    std::uint32_t m_BytesWritten = 0; ///< Since the current file was opened.
    std::uint32_t m_MaxOldFiles = 0;  ///< Time-stamped files kept; never 0 while there is a file.
};

} // namespace Quarn::Logging

#endif
