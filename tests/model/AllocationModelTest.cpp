#include <QuarnLogging/CQAllocationInfo.h>

#include "AllocationInfoAccess.h"
#include "LogCapture.h"
#include "SeededRandom.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

struct SModelObject
{
    void* address;
    std::uint32_t size;
};

/// What the registry is to do, in plain lists that are searched from end to end.
class AllocationModel
{
public:
    struct SSite
    {
        std::wstring file;
        std::int32_t line;
        std::uint32_t id;
        std::vector<SModelObject> objects;
    };

    void Add(const std::wstring& file, std::int32_t line, void* object, std::uint32_t size)
    {
        if (!m_Enabled) {
            return;
        }
        SSite* site = Find(file, line);
        if (site == nullptr) {
            m_Sites.push_back({file, line, m_NextId++, {}});
            site = &m_Sites.back();
        }
        m_Owner[object] = site->id;
        for (SModelObject& known : site->objects) {
            if (known.address == object) {
                known.size = size;
                return;
            }
        }
        site->objects.push_back({object, size});
    }

    void Remove(void* object)
    {
        if (m_Owner.count(object) == 0) {
            return;
        }
        for (std::size_t i = 0; i < m_Sites.size(); ++i) {
            if (m_Sites[i].id == m_Owner[object]) {
                RemoveFrom(i, object);
                break;
            }
        }
        m_Owner.erase(object);
    }

    void Clear()
    {
        m_Sites.clear();
        m_Owner.clear();
        m_NextId = 1;
    }

    std::vector<std::wstring> Report() const
    {
        std::map<std::pair<std::wstring, std::int32_t>, const SSite*> ordered;
        for (const SSite& site : m_Sites) {
            ordered[{site.file, site.line}] = &site;
        }
        std::vector<std::wstring> texts;
        std::uint32_t bytes = 0;
        std::uint32_t objects = 0;
        for (const auto& entry : ordered) {
            ReportSite(*entry.second, texts, bytes, objects);
        }
        texts.push_back(L"Total memory usage:  " + Number(bytes) + L" Bytes in " + Number(objects) + L" objects");
        return texts;
    }

    bool m_Enabled = false;
    std::uint32_t m_NextId = 1;
    std::vector<SSite> m_Sites;
    std::map<void*, std::uint32_t> m_Owner;
    std::vector<std::int32_t> m_DumpLines;
    std::vector<std::uint32_t> m_DumpSizes;

private:
    static std::wstring Number(std::uint32_t value) { return std::to_wstring(static_cast<std::int32_t>(value)); }

    static std::string Pointer(void* address)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%p", address);
        return text;
    }

    static std::string Hex(unsigned char byte)
    {
        char text[8];
        std::snprintf(text, sizeof text, "%x", static_cast<unsigned int>(byte));
        return text;
    }

    static std::string General(double value)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%g", value);
        return text;
    }

    SSite* Find(const std::wstring& file, std::int32_t line)
    {
        for (SSite& site : m_Sites) {
            if (site.file == file && site.line == line) {
                return &site;
            }
        }
        return nullptr;
    }

    void RemoveFrom(std::size_t index, void* object)
    {
        std::vector<SModelObject>& objects = m_Sites[index].objects;
        for (std::size_t i = 0; i < objects.size(); ++i) {
            if (objects[i].address == object) {
                objects.erase(objects.begin() + static_cast<std::ptrdiff_t>(i));
                break;
            }
        }
        if (objects.empty()) {
            m_Sites.erase(m_Sites.begin() + static_cast<std::ptrdiff_t>(index));
        }
    }

    void ReportSite(const SSite& site, std::vector<std::wstring>& texts, std::uint32_t& bytes,
                    std::uint32_t& objects) const
    {
        std::map<void*, std::uint32_t> ordered;
        for (const SModelObject& object : site.objects) {
            ordered[object.address] = object.size;
        }
        std::map<std::uint32_t, std::uint32_t> sizes;
        std::uint32_t sum = 0;
        for (const auto& [address, size] : ordered) {
            for (int i = DumpsOf(site, size); i > 0; --i) {
                texts.push_back(Dump(address, size));
            }
            ++sizes[size];
            sum += size;
        }
        for (const auto& [size, count] : sizes) {
            texts.push_back(L"BlockSize of " + Number(size) + L" bytes " + Number(count) + L" times allocated");
        }
        const auto count = static_cast<std::uint32_t>(ordered.size());
        texts.push_back(site.file + L"@" + std::to_wstring(site.line) + L" " + Number(count) +
                        L" objects created - memory usage: " + Number(sum) + L" Bytes ");
        bytes += sum;
        objects += count;
    }

    int DumpsOf(const SSite& site, std::uint32_t size) const
    {
        int dumps = 0;
        for (const std::uint32_t selected : m_DumpSizes) {
            dumps += selected == size ? 1 : 0;
        }
        for (const std::int32_t selected : m_DumpLines) {
            if (selected == site.line) {
                return dumps + 1;
            }
        }
        return dumps;
    }

    static std::wstring Dump(void* object, std::uint32_t size)
    {
        const auto* bytes = static_cast<const unsigned char*>(object);
        std::string text =
            "Object at address " + Pointer(object) + " uses " + std::to_string(size) + " Bytes - Dump: hex(";
        for (std::uint32_t i = 0; i < size; ++i) {
            text += Hex(bytes[i]) + " ";
        }
        text += ") | string(";
        for (std::uint32_t i = 0; i < size; ++i) {
            text += bytes[i] >= 0x20 && bytes[i] <= 0x7e ? static_cast<char>(bytes[i]) : '.';
        }
        text += ")";
        if (size == 8) {
            double value = 0;
            std::memcpy(&value, bytes, sizeof value);
            text += " | double(" + General(value) + ")";
        }
        if (size == 4) {
            std::uint32_t value = 0;
            std::memcpy(&value, bytes, sizeof value);
            text += " | size_t(" + std::to_string(value) + ") | int(" + std::to_string(static_cast<int>(value)) + ")";
        }
        return {text.begin(), text.end()}; // ASCII
    }
};

/// Applies the same random operation to the registry and to the model.
class Driver
{
public:
    Driver()
        : m_Memory(SLOTS * SLOT_SIZE)
    {
        for (unsigned char& byte : m_Memory) {
            byte = static_cast<unsigned char>(Draw(256));
        }
    }

    /// Returns the operation's name, for a failing run.
    std::string Step()
    {
        const unsigned int choice = Draw(100);
        if (choice < 50) {
            return Add();
        }
        if (choice < 85) {
            void* object = Draw(20) == 0 ? nullptr : Slot(Draw(SLOTS));
            m_Registry.TryRemoveInfo(object);
            m_Model.Remove(object);
            return "remove";
        }
        if (choice < 91) {
            m_Model.m_Enabled = Draw(4) != 0;
            m_Registry.EnableAddInfo(m_Model.m_Enabled);
            return "enable";
        }
        if (choice < 98) {
            return Select();
        }
        // Rarely, so that registries grow.
        if (Draw(20) == 0) {
            m_Registry.ClearInfo();
            m_Model.Clear();
        }
        return "clear";
    }

    void Compare() const
    {
        EXPECT_EQ(m_Registry.IsAddInfoEnabled(), m_Model.m_Enabled);
        auto& registry = const_cast<CQAllocationInfo&>(m_Registry);
        EXPECT_EQ(registry.*MemberOf(NextAllocPosIdTag{}), m_Model.m_NextId);
        EXPECT_EQ(ObjectsOf(registry), m_Model.m_Owner);
        std::map<unsigned int, std::pair<std::wstring, int>> positions;
        Sites sites;
        for (const AllocationModel::SSite& site : m_Model.m_Sites) {
            positions[site.id] = {site.file, site.line};
            auto& [id, objects] = sites[{site.file, site.line}];
            id = site.id;
            for (const SModelObject& object : site.objects) {
                objects[object.address] = object.size;
            }
        }
        EXPECT_EQ(PositionsOf(registry), positions);
        EXPECT_EQ(SitesOf(registry), sites);
        EXPECT_EQ(registry.*MemberOf(DumpLineNumbersTag{}), m_Model.m_DumpLines);
        EXPECT_EQ(registry.*MemberOf(DumpObjectSizesTag{}), m_Model.m_DumpSizes);
    }

    void CompareReports() const
    {
        LogCapture capture;
        m_Registry.DumpInfo(-1);
        EXPECT_EQ(capture.Texts(), m_Model.Report());
        m_Messages += capture.m_Messages.size();
    }

    std::uint32_t Seed() const { return m_Random.Seed(); }
    std::size_t Messages() const { return m_Messages; }

private:
    static constexpr unsigned int SLOTS = 60;
    static constexpr unsigned int SLOT_SIZE = 48;

    unsigned int Draw(unsigned int below) { return m_Random() % below; }

    /// Odd addresses, too: objects need not be aligned.
    void* Slot(unsigned int index) { return m_Memory.data() + std::size_t{index} * SLOT_SIZE + index % 3; }

    std::string Add()
    {
        static const wchar_t* const files[] = {L"a.cpp", L"A.cpp", L"a.c", L"", L"\u00e4.cpp", L"\U0001F600.cpp"};
        static const unsigned int lines[] = {0, 7, 12, 4294967295u, 30, 31};
        static const unsigned int sizes[] = {0, 1, 3, 4, 4, 7, 8, 8, 9, 41};
        static const unsigned int hugeSizes[] = {0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x40000001};
        const unsigned int line = Draw(6);
        // Lines from 30 on are never selected and no huge size is, so that their objects need not be there.
        const unsigned int size = line >= 4 && Draw(2) == 0 ? hugeSizes[Draw(4)] : sizes[Draw(10)];
        const unsigned int slot = Draw(SLOTS);
        if (Draw(3) == 0) {
            FillSlot(slot);
        }
        const wchar_t* file = files[Draw(6)];
        m_Registry.AddInfo(file, lines[line], Slot(slot), size);
        m_Model.Add(file, static_cast<std::int32_t>(lines[line]), Slot(slot), size);
        return "add";
    }

    /// Numbers of everyday size, which random bytes hardly ever are.
    void FillSlot(unsigned int slot)
    {
        static const double values[] = {0.0, -0.0, 1.5, 1e20, 1e-5, 0.0001, 123456.5, 1234567.5, -2.25, 1e300};
        std::memcpy(Slot(slot), &values[Draw(10)], sizeof(double));
    }

    std::string Select()
    {
        static const unsigned int sizes[] = {0, 1, 4, 8, 9, 41, 1000};
        static const unsigned int lines[] = {0, 7, 4294967295u, 999};
        if (Draw(4) == 0) {
            m_Registry.ClearMemoryDumpSelections();
            m_Model.m_DumpLines.clear();
            m_Model.m_DumpSizes.clear();
        } else if (Draw(2) == 0) {
            const unsigned int line = lines[Draw(4)];
            m_Registry.AddLineNumberUsedForMemoryDump(line);
            m_Model.m_DumpLines.push_back(static_cast<std::int32_t>(line));
        } else {
            const unsigned int size = sizes[Draw(7)];
            m_Registry.AddObjectSizeUsedForMemoryDump(size);
            m_Model.m_DumpSizes.push_back(size);
        }
        return "select";
    }

    SeededRandom m_Random;
    std::vector<unsigned char> m_Memory;
    CQAllocationInfo m_Registry;
    AllocationModel m_Model;
    mutable std::size_t m_Messages = 0;
};

TEST(AllocationModelTest, RandomOperationsLeaveTheRegistryLikeTheModel)
{
    Driver driver;

    for (int step = 0; step < 10000 && !::testing::Test::HasFailure(); ++step) {
        const std::string operation = driver.Step();

        SCOPED_TRACE("QUARN_TEST_SEED=" + std::to_string(driver.Seed()) + ", step " + std::to_string(step) + ": " +
                     operation);
        driver.Compare();
        if (step % 10 == 0) {
            driver.CompareReports();
        }
    }

    EXPECT_GT(driver.Messages(), 5000u) << "the operations hardly filled the registry";
}

} // namespace
