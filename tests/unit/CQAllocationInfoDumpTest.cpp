#include <QuarnLogging/CQAllocationInfo.h>

#include "LogCapture.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class CQAllocationInfoDumpTest : public ::testing::Test
{
protected:
    CQAllocationInfoDumpTest() { m_Registry.EnableAddInfo(true); }

    /// Registers memory with these bytes as an object of a.cpp, line 12.
    void AddObject(std::initializer_list<int> bytes)
    {
        std::size_t i = 0;
        for (const int byte : bytes) {
            m_Object[i++] = static_cast<unsigned char>(byte);
        }
        m_Registry.AddInfo(L"a.cpp", 12, m_Object, static_cast<unsigned int>(bytes.size()));
    }

    template <class T>
    void AddValue(T value)
    {
        std::memcpy(m_Object, &value, sizeof value);
        m_Registry.AddInfo(L"a.cpp", 12, m_Object, sizeof value);
    }

    /// What the dumps of a report say behind the object's address.
    std::vector<std::wstring> Dumps()
    {
        wchar_t start[64];
        std::swprintf(start, 64, L"Object at address %p uses ", static_cast<void*>(m_Object));
        m_Registry.DumpInfo(-1);
        std::vector<std::wstring> dumps;
        for (const std::wstring& text : m_Capture.Texts()) {
            if (text.rfind(start, 0) == 0) {
                dumps.push_back(text.substr(std::wcslen(start)));
            }
        }
        return dumps;
    }

    CQAllocationInfo m_Registry;
    LogCapture m_Capture;
    alignas(8) unsigned char m_Object[300] = {};
};

TEST_F(CQAllocationInfoDumpTest, NothingIsDumpedWithoutASelection)
{
    AddObject({1, 2, 3, 4});

    EXPECT_THAT(Dumps(), IsEmpty());
}

TEST_F(CQAllocationInfoDumpTest, FourBytesAreReadAsUnsignedThenAsSigned)
{
    AddObject({0x41, 0, 0, 0});
    m_Registry.AddObjectSizeUsedForMemoryDump(4);

    EXPECT_THAT(Dumps(), ElementsAre(L"4 Bytes - Dump: hex(41 0 0 0 ) | string(A...) | size_t(65) | int(65)"));
}

TEST_F(CQAllocationInfoDumpTest, FourBytesWithAllBitsSet)
{
    AddObject({0xff, 0xff, 0xff, 0xff});
    m_Registry.AddObjectSizeUsedForMemoryDump(4);

    EXPECT_THAT(Dumps(),
                ElementsAre(L"4 Bytes - Dump: hex(ff ff ff ff ) | string(....) | size_t(4294967295) | int(-1)"));
}

TEST_F(CQAllocationInfoDumpTest, EightBytesAreReadAsADouble)
{
    AddObject({0, 0, 0, 0, 0, 0, 0xf8, 0x3f});
    m_Registry.AddObjectSizeUsedForMemoryDump(8);

    EXPECT_THAT(Dumps(), ElementsAre(L"8 Bytes - Dump: hex(0 0 0 0 0 0 f8 3f ) | string(.......?) | double(1.5)"));
}

TEST_F(CQAllocationInfoDumpTest, LargeDoubleIsPrintedInExponentForm)
{
    AddValue(1e20);
    m_Registry.AddObjectSizeUsedForMemoryDump(8);

    EXPECT_THAT(Dumps(), ElementsAre(L"8 Bytes - Dump: hex(40 8c b5 78 1d af 15 44 ) | string(@..x...D) | "
                                     L"double(1e+20)"));
}

TEST_F(CQAllocationInfoDumpTest, DoubleHasSixSignificantDigits)
{
    AddValue(123456.78125);
    m_Registry.AddObjectSizeUsedForMemoryDump(8);

    EXPECT_THAT(Dumps(), ElementsAre(L"8 Bytes - Dump: hex(0 0 0 80 c 24 fe 40 ) | string(.....$.@) | "
                                     L"double(123457)"));
}

TEST_F(CQAllocationInfoDumpTest, ObjectOfSizeZeroHasNoBytes)
{
    AddObject({});
    m_Registry.AddObjectSizeUsedForMemoryDump(0);

    EXPECT_THAT(Dumps(), ElementsAre(L"0 Bytes - Dump: hex() | string()"));
}

TEST_F(CQAllocationInfoDumpTest, OtherSizesHaveNoNumericPart)
{
    AddObject({0x30, 0x31, 0x32, 0x33, 0x34});
    m_Registry.AddObjectSizeUsedForMemoryDump(5);

    EXPECT_THAT(Dumps(), ElementsAre(L"5 Bytes - Dump: hex(30 31 32 33 34 ) | string(01234)"));
}

TEST_F(CQAllocationInfoDumpTest, SingleByteHasNoNumericPart)
{
    AddObject({0x7f});
    m_Registry.AddObjectSizeUsedForMemoryDump(1);

    EXPECT_THAT(Dumps(), ElementsAre(L"1 Bytes - Dump: hex(7f ) | string(.)"));
}

TEST_F(CQAllocationInfoDumpTest, OnlyPrintableAsciiIsShownAsText)
{
    AddObject({0x1f, 0x20, 0x7e, 0x7f, 0x80, 0xe4});
    m_Registry.AddObjectSizeUsedForMemoryDump(6);

    EXPECT_THAT(Dumps(), ElementsAre(L"6 Bytes - Dump: hex(1f 20 7e 7f 80 e4 ) | string(. ~...)"));
}

TEST_F(CQAllocationInfoDumpTest, UnalignedObjectIsReadAsANumber)
{
    m_Object[1] = 2;
    m_Registry.AddInfo(L"b.cpp", 30, m_Object + 1, 4);
    m_Registry.AddLineNumberUsedForMemoryDump(30);

    m_Registry.DumpInfo(-1);

    EXPECT_THAT(m_Capture.Texts(),
                ::testing::Contains(::testing::EndsWith(L"hex(2 0 0 0 ) | string(....) | size_t(2) | int(2)")));
}

TEST_F(CQAllocationInfoDumpTest, LongObjectGoesWholeIntoOneMessage)
{
    std::memset(m_Object, 'x', sizeof m_Object);
    m_Registry.AddInfo(L"a.cpp", 12, m_Object, 300);
    m_Registry.AddObjectSizeUsedForMemoryDump(300);
    std::wstring hex;
    for (int i = 0; i < 300; ++i) {
        hex += L"78 ";
    }

    EXPECT_THAT(Dumps(),
                ElementsAre(L"300 Bytes - Dump: hex(" + hex + L") | string(" + std::wstring(300, L'x') + L")"));
}

TEST_F(CQAllocationInfoDumpTest, ObjectsOfASelectedLineAreDumped)
{
    AddObject({1});
    m_Registry.AddLineNumberUsedForMemoryDump(12);

    EXPECT_THAT(Dumps(), ElementsAre(L"1 Bytes - Dump: hex(1 ) | string(.)"));
}

TEST_F(CQAllocationInfoDumpTest, LineSelectedTwiceDumpsOnce)
{
    AddObject({1});
    m_Registry.AddLineNumberUsedForMemoryDump(12);
    m_Registry.AddLineNumberUsedForMemoryDump(12);

    EXPECT_THAT(Dumps(), ElementsAre(L"1 Bytes - Dump: hex(1 ) | string(.)"));
}

TEST_F(CQAllocationInfoDumpTest, SelectedLineCountsInEveryFile)
{
    AddObject({1});
    m_Registry.AddInfo(L"b.cpp", 12, m_Object + 1, 1);
    m_Registry.AddLineNumberUsedForMemoryDump(12);

    m_Registry.DumpInfo(-1);

    EXPECT_THAT(m_Capture.Texts(), ElementsAre(::testing::EndsWith(L"hex(1 ) | string(.)"),            //
                                               L"BlockSize of 1 bytes 1 times allocated",              //
                                               L"a.cpp@12 1 objects created - memory usage: 1 Bytes ", //
                                               ::testing::EndsWith(L"hex(0 ) | string(.)"),            //
                                               L"BlockSize of 1 bytes 1 times allocated",              //
                                               L"b.cpp@12 1 objects created - memory usage: 1 Bytes ", //
                                               L"Total memory usage:  2 Bytes in 2 objects"));
}

TEST_F(CQAllocationInfoDumpTest, SizeListedTwiceAndLineSelectedDumpThreeTimesInARow)
{
    AddObject({1});
    m_Registry.AddInfo(L"a.cpp", 12, m_Object + 1, 2);
    m_Registry.AddObjectSizeUsedForMemoryDump(1);
    m_Registry.AddObjectSizeUsedForMemoryDump(1);
    m_Registry.AddLineNumberUsedForMemoryDump(12);

    m_Registry.DumpInfo(-1);

    EXPECT_THAT(m_Capture.Texts(), ElementsAre(::testing::EndsWith(L"hex(1 ) | string(.)"),    //
                                               ::testing::EndsWith(L"hex(1 ) | string(.)"),    //
                                               ::testing::EndsWith(L"hex(1 ) | string(.)"),    //
                                               ::testing::EndsWith(L"hex(0 0 ) | string(..)"), //
                                               L"BlockSize of 1 bytes 1 times allocated",      //
                                               L"BlockSize of 2 bytes 1 times allocated",      //
                                               L"a.cpp@12 2 objects created - memory usage: 3 Bytes ",
                                               L"Total memory usage:  3 Bytes in 2 objects"));
}

TEST_F(CQAllocationInfoDumpTest, ClearedSelectionsDumpNothing)
{
    AddObject({1});
    m_Registry.AddObjectSizeUsedForMemoryDump(1);
    m_Registry.AddLineNumberUsedForMemoryDump(12);

    m_Registry.ClearMemoryDumpSelections();

    EXPECT_THAT(Dumps(), IsEmpty());
}

TEST_F(CQAllocationInfoDumpTest, SelectionOutlivesClearedObjects)
{
    m_Registry.AddObjectSizeUsedForMemoryDump(1);
    m_Registry.ClearInfo();
    AddObject({1});

    EXPECT_THAT(Dumps(), ElementsAre(L"1 Bytes - Dump: hex(1 ) | string(.)"));
}

} // namespace
