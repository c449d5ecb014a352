#ifndef QUARN_LOGGING_CQ_ALLOCATION_INFO_H
#define QUARN_LOGGING_CQ_ALLOCATION_INFO_H

#include <QuarnLogging/Export.h>

#include <ace/Thread_Mutex.h>

#include <map>
#include <string>
#include <vector>

namespace Quarn {
namespace Logging {

/// A registry of the live heap objects of a process, grouped by the source position (file and line) that allocated
/// them.
///
/// The code behind the process's allocation operators feeds it; DumpInfo() writes what is alive into the log. The
/// library holds no instance, the user constructs one. Recording is off at first.
///
/// Every operation holds one plain mutex from start to end, so any thread may call, but none may call again from inside
/// a call. The registry's own containers use the process's allocation operators: whoever feeds the registry from these
/// keeps the allocations made during a registry call out of it, or the thread waits for itself for ever.
///
/// An exception that leaves an operation leaves the mutex locked, and every later call, the destructor's included,
/// waits for ever: the feeder sees to it that memory is never exhausted there and that no file name is null.
class QUARN_LOGGING_API CQAllocationInfo
{
public:
    /// No position id yet: the value of a site that has not been numbered.
    static const unsigned int INVALID_ALLOC_POS_ID = 0;
    /// The first position id handed out after construction and after each ClearInfo().
    static const unsigned int FIRST_VALID_ALLOC_POS_ID = 1;

    CQAllocationInfo();
    /// Switches recording off and clears the registry; swallows what these throw.
    ~CQAllocationInfo();

    CQAllocationInfo(const CQAllocationInfo&) = delete;
    CQAllocationInfo& operator=(const CQAllocationInfo&) = delete;

    /// Switches recording. Objects are removed also while it is off.
    void EnableAddInfo(bool enable);
    /// Whether allocations are recorded.
    bool IsAddInfoEnabled() const;

    /// @brief Records one allocation, if recording is on.
    ///
    /// An address that is reported again from the same site gets the new size. Reported from another site it belongs to
    /// that one, and its entry at the first site stays until ClearInfo().
    ///
    /// @param[in] fileName  source file of the allocating call, copied; not null
    /// @param[in] line      source line of the allocating call
    /// @param[in] object    address of the object; it is read only when it is selected for a memory dump
    /// @param[in] size      bytes
    /// @par Threads         any
    /// @par Real time       no: allocates; while recording is off one lock and one flag
    /// @par Failure         null file name: throws std::logic_error; memory exhausted: throws std::bad_alloc; both
    ///                      leave the mutex locked
    void AddInfo(const wchar_t* fileName, unsigned int line, void* object, unsigned int size);

    /// @brief Forgets one object. An address that is not registered, or null, changes nothing.
    ///
    /// To be called before the memory is given back: a report that dumps the object ends first.
    ///
    /// @par Threads    any
    /// @par Real time  no: frees memory
    /// @par Failure    memory exhausted: throws std::bad_alloc and leaves the mutex locked
    void TryRemoveInfo(void* object);

    /// Forgets all objects and numbers sites from the start again. Recording and the dump selections stay as they are.
    void ClearInfo();

    /// Selects the objects of all sites with this line, whatever their file, for memory dumps in reports.
    void AddLineNumberUsedForMemoryDump(unsigned int line);
    /// Selects the objects of this size in bytes. A size that is added twice dumps them twice.
    void AddObjectSizeUsedForMemoryDump(unsigned int size);
    /// Forgets the selections of both kinds.
    void ClearMemoryDumpSelections();

    /// @brief Logs, with level 4000, every site with its live objects, then the total; changes nothing.
    ///
    /// For each site one line per object size and one line for the site. Selected objects are dumped byte by byte in
    /// front of these. All numbers are of 32 bits: sums wrap around and print as signed.
    ///
    /// @param[in] category  the category of the messages
    /// @par Threads         any; other threads' calls wait until the report is logged
    /// @par Real time       no: allocates, and with automatic logging runs the loggers
    /// @par Failure         memory exhausted: throws std::bad_alloc and leaves the mutex locked
    void DumpInfo(int category) const;

private:
    /// An allocation site: one line of one file.
    struct SQAllocInfo
    {
        unsigned int AllocPosId = INVALID_ALLOC_POS_ID;
        std::map<void*, unsigned int> Objects; ///< live objects, address to size in bytes
    };

    /// Leads from a position id back to its site.
    struct SQAllocPos
    {
        std::wstring FileName;
        int LineNumber = 0;
    };

    /// The order of file names. Transparent: a known file is found by the caller's characters, no string is built.
    struct SQFileNameLess
    {
        using is_transparent = void;
        template <class A, class B>
        bool operator()(const A& a, const B& b) const
        {
            return a < b;
        }
    };

    SQAllocInfo& GetSite(const wchar_t* fileName, int line);
    unsigned int DumpSite(int category, const std::wstring& fileName, int line, const SQAllocInfo& site) const;

    // All guarded by m_Mutex.
    bool m_AddInfoEnabled = false;
    unsigned int m_NextAllocPosId = FIRST_VALID_ALLOC_POS_ID;
    std::map<unsigned int, SQAllocPos> m_AllocPositions;
    std::map<void*, unsigned int> m_ObjectPositions;                               ///< live object to position id
    std::map<std::wstring, std::map<int, SQAllocInfo>, SQFileNameLess> m_FileInfo; ///< file to line to site
    std::vector<int> m_DumpLineNumbers;
    std::vector<unsigned int> m_DumpObjectSizes; ///< bytes
    mutable ACE_Thread_Mutex m_Mutex;
};

} // namespace Logging
} // namespace Quarn

#endif
