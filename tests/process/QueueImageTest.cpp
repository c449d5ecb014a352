#include "PeerBuild.h"
#include "QueueModel.h"
#include "QueueScript.h"
#include "Subprocess.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include <sys/wait.h>

using namespace QuarnTest;

namespace {

/// Of the script's block from the first byte that persists on.
constexpr std::uint64_t HASH = 0x265CDE3DBD9913CD;

std::uint64_t Fnv1a(const char* bytes, std::size_t count)
{
    std::uint64_t hash = 0xCBF29CE484222325;
    for (std::size_t i = 0; i < count; ++i) {
        hash = (hash ^ static_cast<unsigned char>(bytes[i])) * 0x100000001B3;
    }
    return hash;
}

std::uint64_t HashOfBlock(const std::string& block) { return Fnv1a(block.data() + 32, 0x200000 - 32); }

class QueueImageTest : public testing::Test
{
protected:
    /// The exit code of queue-image.
    int Run(const std::string& tool, const char* command)
    {
        const int status = std::system((Quoted(tool) + " " + command + " " + Quoted(m_Dir.File("image"))).c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    /// The image, cut to the size of a block.
    std::string Image() const
    {
        std::string image(0x200000, ' ');
        std::ifstream(m_Dir.File("image"), std::ios::binary).read(image.data(), 0x200000);
        return image;
    }

    const std::string m_Tool = QUARN_TEST_QUEUE_IMAGE;
    TempDir m_Dir;
};

TEST_F(QueueImageTest, HashIsTheUsualOne) { EXPECT_EQ(Fnv1a("foobar", 6), 0x85944171F73967E8u); }

TEST_F(QueueImageTest, ScriptLeavesTheSameBytesOnEverySystem)
{
    ASSERT_EQ(Run(m_Tool, "write"), 0);

    EXPECT_EQ(HashOfBlock(Image()), HASH);
    EXPECT_EQ(std::filesystem::file_size(m_Dir.File("image")), 0x200000u);
}

TEST_F(QueueImageTest, ModelLeavesTheSameBytes)
{
    QueueModel model;
    model.MakeFull();
    std::memcpy(&model.bytes[72], &QueueScript::START_TIME, 8);

    QueueScript::Run([&](const SMessage& message) { model.Write(message); }, [&] { model.Read(); });

    EXPECT_EQ(HashOfBlock(std::string(model.bytes.begin(), model.bytes.end())), HASH);
}

TEST_F(QueueImageTest, ImageIsReadBack)
{
    ASSERT_EQ(Run(m_Tool, "write"), 0);

    EXPECT_EQ(Run(m_Tool, "check"), 0);
}

TEST_F(QueueImageTest, ChangedImageIsNoticed)
{
    ASSERT_EQ(Run(m_Tool, "write"), 0);
    std::string image = Image();
    image[1000000] = static_cast<char>(image[1000000] ^ 1);
    m_Dir.Write("image", image);

    EXPECT_EQ(Run(m_Tool, "check"), 1);
}

/// With the build of the other word size.
class QueueImagePeerTest : public QueueImageTest
{
protected:
    void SetUp() override
    {
        m_Peer = PeerProgram("/tests/process/queue-image");
        if (m_Peer.empty()) {
            GTEST_SKIP() << "the other word size is not built";
        }
    }

    std::string m_Peer;
};

TEST_F(QueueImagePeerTest, ImageOfTheOtherWordSizeIsRead)
{
    ASSERT_EQ(Run(m_Peer, "write"), 0);

    EXPECT_EQ(Run(m_Tool, "check"), 0);
}

TEST_F(QueueImagePeerTest, ImageIsReadByTheOtherWordSize)
{
    ASSERT_EQ(Run(m_Tool, "write"), 0);

    EXPECT_EQ(Run(m_Peer, "check"), 0);
}

} // namespace
