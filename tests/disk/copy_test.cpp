#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <random>
#include <stdexcept>
#include <vector>

#include <vhdx_disk/copy.h>
#include <vhdx_disk/reader.h>

#include "tests/support/log_builder.h"
#include "tests/support/memory_source.h"
#include "tests/support/random_chain.h"

namespace NTest {
namespace {

using NVHDXDisk::CDisk;
using NVHDXDisk::CDiskFile;
using NVHDXDisk::CDiskOptions;
using NVHDXDisk::CFailure;
using NVHDXDisk::CReader;
using NVHDXDisk::MakeFailure;

/// Keeps the bytes of a range, and expects each of them once and in order.
class CMemoryTarget : public NVHDXDisk::ITarget {
public:
    CMemoryTarget(const CMemoryOpener& files, std::uint64_t begin)
        : m_files(files), m_next(begin) {}

    bool Write(std::uint64_t offset, const unsigned char* written, std::size_t count,
               CFailure& failure) override {
        return Take(offset, CBytes(written, written + count), failure);
    }
    bool Zero(std::uint64_t offset, std::uint64_t length, CFailure& failure) override {
        zeroed += length;
        return Take(offset, CBytes(static_cast<std::size_t>(length)), failure);
    }
    bool Flush(CFailure& failure) override {
        ++flushes;
        return Call(failure);
    }
    bool CopyFrom(const CDiskFile& file, std::uint64_t position, std::uint64_t offset,
                  std::uint64_t length, bool& taken, CFailure& failure) override {
        ++offers;
        taken = takes && takes();
        if (!taken) {
            return Call(failure);
        }
        copied += length;
        const auto source = m_files.Open(file.path, failure);
        CBytes read(static_cast<std::size_t>(length));
        EXPECT_TRUE(source->ReadAt(position, read.data(), read.size(), failure)) << failure.text;
        return Take(offset, read, failure);
    }

    CBytes bytes;
    std::uint64_t zeroed = 0;
    std::uint64_t copied = 0;
    int offers = 0;
    int flushes = 0;
    int calls = 0;
    std::function<bool()> takes;  ///< whether an offer is taken; empty: none is
    /// What the call of this number, from 1 on, does.
    int failingCall = 0;
    std::function<void(CFailure&)> fail;

private:
    bool Call(CFailure& failure) {
        if (++calls != failingCall) {
            return true;
        }
        fail(failure);
        return false;
    }

    bool Take(std::uint64_t offset, const CBytes& taken, CFailure& failure) {
        EXPECT_EQ(offset, m_next);
        EXPECT_EQ(flushes, 0);
        EXPECT_FALSE(taken.empty());
        m_next += taken.size();
        bytes.insert(bytes.end(), taken.begin(), taken.end());
        return Call(failure);
    }

    const CMemoryOpener& m_files;
    std::uint64_t m_next;
};

class CopyDisk : public testing::Test {
protected:
    /// Opens the chain in memory.
    void Open(const CChainModel& chain) {
        m_opener = std::make_shared<CMemoryOpener>();
        for (std::size_t disk = 0; disk < chain.Count(); ++disk) {
            m_newest = m_opener->Add(CChainModel::Name(disk), chain.Image(disk));
        }
        CDiskOptions options;
        options.opener = m_opener;
        m_disk = CDisk::Open(CChainModel::Name(chain.Count() - 1), options, m_failure);
        ASSERT_NE(m_disk, nullptr) << m_failure.text;
    }

    bool Copy(CMemoryTarget& target, std::uint64_t offset, std::uint64_t length,
              const NVHDXDisk::CProgressCallback& progress = {}) {
        m_failure = {};
        return NVHDXDisk::CopyDisk(m_disk, offset, length, target, progress, m_failure);
    }

    /// Copies a range, and expects what `CReader` reads of it.
    void ExpectCopied(std::uint64_t offset, std::uint64_t length,
                      const std::function<bool()>& takes) {
        CMemoryTarget target(*m_opener, offset);
        target.takes = takes;
        std::uint64_t told = 0;
        ASSERT_TRUE(Copy(target, offset, length, [&](std::uint64_t done) {
            EXPECT_GT(done, told);
            EXPECT_EQ(done, target.bytes.size());
            told = done;
            return true;
        })) << m_failure.text;
        EXPECT_EQ(m_failure.kind, CFailure::none);
        EXPECT_EQ(told, length);
        EXPECT_EQ(target.flushes, 1);
        CBytes expected(static_cast<std::size_t>(length));
        ASSERT_TRUE(CReader(m_disk).Read(offset, expected.data(), expected.size(), m_failure));
        EXPECT_TRUE(target.bytes == expected);
    }

    /// Blocks of data, of zeros and of nothing, and single sectors.
    static CChainModel UsualChain() {
        CChainModel chain;
        chain.AddDisk(CDiskShape()).Present(0, 1).Present(1, 2).Present(4, 3);
        chain.AddDisk(CDiskShape()).Partial(1, 4, {0, 2, 4}).Empty(2, CChainModel::zero, false);
        return chain;
    }

    std::shared_ptr<CMemoryOpener> m_opener;
    std::shared_ptr<CMemorySource> m_newest;
    std::shared_ptr<const CDisk> m_disk;
    CFailure m_failure;
};

TEST_F(CopyDisk, TellsTheTargetWhatAreZeros) {
    Open(UsualChain());
    CMemoryTarget target(*m_opener, 0);
    ASSERT_TRUE(Copy(target, 0, 8 * MiB)) << m_failure.text;
    EXPECT_EQ(target.zeroed, 5 * MiB);
}

TEST_F(CopyDisk, OffersLongRunsToTheSystemAndReadsTheShortOnes) {
    Open(UsualChain());
    CMemoryTarget target(*m_opener, 0);
    target.takes = [] { return true; };
    ASSERT_TRUE(Copy(target, 0, 8 * MiB)) << m_failure.text;
    EXPECT_EQ(target.copied, 3 * MiB - 5 * 512);
}

TEST_F(CopyDisk, OffersNoMoreOfARunThatTheTargetDidNotWant) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(40 * MiB).BlockSize(32 * MiB)).Present(0, 1);
    Open(chain);
    CMemoryTarget unwilling(*m_opener, 0);
    ASSERT_TRUE(Copy(unwilling, 0, 40 * MiB)) << m_failure.text;
    EXPECT_EQ(unwilling.offers, 1);
    CMemoryTarget willing(*m_opener, 0);
    willing.takes = [] { return true; };
    ASSERT_TRUE(Copy(willing, 0, 40 * MiB)) << m_failure.text;
    EXPECT_EQ(willing.offers, 2);
    EXPECT_TRUE(willing.bytes == chain.Content());
}

TEST_F(CopyDisk, OffersNoBytesThatAreTheLogsAndNotTheFiles) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(2 * MiB)).Present(1, 1);
    const std::uint64_t position = chain.Builder().BlockPosition(1);
    CBytes expected = chain.Content();
    CLogEntryBuilder entry(1);
    for (std::uint64_t at = 0; at < 50 * 4096; at += 4096) {
        entry.Page(position + at, Pattern(9, at, 4096));
        PutBytes(expected, MiB + at, Pattern(9, at, 4096));
    }
    chain.Builder().LogAt(logGuid, MiB, 1048576).Bytes(MiB, entry.Bytes());
    Open(chain);
    CMemoryTarget target(*m_opener, 0);
    target.takes = [] { return true; };
    ASSERT_TRUE(Copy(target, 0, 2 * MiB)) << m_failure.text;
    EXPECT_EQ(target.copied, MiB - 50 * 4096);
    EXPECT_TRUE(target.bytes == expected);
}

TEST_F(CopyDisk, OfNothingIsFlushed) {
    Open(UsualChain());
    CMemoryTarget target(*m_opener, 5);
    EXPECT_TRUE(Copy(target, 5, 0));
    EXPECT_EQ(target.flushes, 1);
    EXPECT_EQ(target.calls, 1);
}

TEST_F(CopyDisk, OfWhatTheDiskHasNotFails) {
    Open(UsualChain());
    CMemoryTarget target(*m_opener, 0);
    EXPECT_FALSE(Copy(target, 1, 8 * MiB));
    EXPECT_EQ(m_failure.kind, CFailure::outOfRange);
    EXPECT_EQ(target.calls, 0);
}

TEST_F(CopyDisk, StopsWhenProgressSaysSo) {
    Open(UsualChain());
    int pieces = 0;
    CMemoryTarget whole(*m_opener, 0);
    ASSERT_TRUE(Copy(whole, 0, 8 * MiB, [&](std::uint64_t) { return ++pieces, true; }));
    ASSERT_GT(pieces, 3);
    for (int most = 1; most <= pieces; ++most) {
        CMemoryTarget target(*m_opener, 0);
        int told = 0;
        EXPECT_FALSE(Copy(target, 0, 8 * MiB, [&](std::uint64_t) { return ++told != most; }));
        EXPECT_EQ(told, most);
        EXPECT_EQ(m_failure.kind, CFailure::stopped);
        EXPECT_EQ(m_failure.text, "the copy was stopped");
        EXPECT_EQ(target.flushes, 0);
        EXPECT_TRUE(std::equal(target.bytes.begin(), target.bytes.end(), whole.bytes.begin()));
    }
}

/// At each call of the target in turn.
TEST_F(CopyDisk, FailsInTheWordsOfTheTarget) {
    Open(UsualChain());
    CMemoryTarget whole(*m_opener, 0);
    ASSERT_TRUE(Copy(whole, 0, 8 * MiB));
    for (int call = 1; call <= whole.calls; ++call) {
        CMemoryTarget target(*m_opener, 0);
        target.failingCall = call;
        target.fail = [](CFailure& failure) {
            failure = MakeFailure(CFailure::targetFailed, "target", "it is full", ENOSPC);
        };
        EXPECT_FALSE(Copy(target, 0, 8 * MiB));
        EXPECT_EQ(target.calls, call);
        EXPECT_EQ(m_failure.kind, CFailure::targetFailed);
        EXPECT_EQ(m_failure.text, "\"target\": it is full");
        EXPECT_EQ(m_failure.error, ENOSPC);
    }
}

TEST_F(CopyDisk, GivesATargetThatSaysNothingItsWords) {
    Open(UsualChain());
    CMemoryTarget silent(*m_opener, 0);
    silent.failingCall = 1;
    silent.fail = [](CFailure&) {};
    EXPECT_FALSE(Copy(silent, 0, 8 * MiB));
    EXPECT_EQ(m_failure.kind, CFailure::targetFailed);
    EXPECT_EQ(m_failure.text, "the target failed");

    CMemoryTarget ofNoKind(*m_opener, 0);
    ofNoKind.failingCall = 2;
    ofNoKind.fail = [](CFailure& failure) {
        failure.text = "no room";
        failure.error = ENOSPC;
    };
    EXPECT_FALSE(Copy(ofNoKind, 0, 8 * MiB));
    EXPECT_EQ(m_failure.kind, CFailure::targetFailed);
    EXPECT_EQ(m_failure.text, "no room");
    EXPECT_EQ(m_failure.error, ENOSPC);
}

TEST_F(CopyDisk, LetsPassWhatTheTargetThrows) {
    Open(UsualChain());
    CMemoryTarget whole(*m_opener, 0);
    ASSERT_TRUE(Copy(whole, 0, 8 * MiB));
    for (int call = 1; call <= whole.calls; ++call) {
        CMemoryTarget target(*m_opener, 0);
        target.failingCall = call;
        target.fail = [](CFailure&) { throw std::runtime_error("thrown"); };
        EXPECT_THROW(Copy(target, 0, 8 * MiB), std::runtime_error);
        EXPECT_EQ(target.calls, call);
        EXPECT_EQ(m_failure.kind, CFailure::none);
    }
}

TEST_F(CopyDisk, FailsWhereAFileCannotBeRead) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(0, 1).Present(3, 2);
    Open(chain);
    m_newest->FailAt(chain.Position(0, 3 * MiB) + 5, EIO);
    CMemoryTarget target(*m_opener, 0);
    EXPECT_FALSE(Copy(target, 0, 8 * MiB));
    EXPECT_EQ(m_failure.kind, CFailure::cannotBeRead);
    EXPECT_EQ(m_failure.error, EIO);
    EXPECT_EQ(target.bytes.size(), 3 * MiB);
    EXPECT_EQ(target.flushes, 0);
}

/// The test's name shows the seed.
class RandomCopyDisk : public CopyDisk, public testing::WithParamInterface<unsigned> {};

TEST_P(RandomCopyDisk, HandsOverWhatTheReaderReads) {
    const CChainModel chain = CRandomChain(GetParam()).Make();
    Open(chain);
    std::mt19937_64 random(GetParam());
    const std::vector<std::function<bool()>> takers = {
        {}, [] { return true; }, [&random] { return random() % 2 != 0; }};
    for (const auto& takes : takers) {
        ExpectCopied(0, m_disk->Size(), takes);
        const std::uint64_t offset = random() % m_disk->Size();
        ExpectCopied(offset, random() % (m_disk->Size() - offset + 1), takes);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomCopyDisk, testing::Range(0u, 60u));

}  // namespace
}  // namespace NTest
