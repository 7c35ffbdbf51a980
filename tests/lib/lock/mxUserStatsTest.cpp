#include "lib/lock/mxUserStats.h"

#include <gmock/gmock.h>

#include "lib/lock/mxUserHisto.h"
#include "lib/lock/mxUserLock.h"
#include "lib/misc/glibPtr.h"
#include "tests/lib/lock/inThreads.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

/* A host that receives reports. */
struct MXUserStats : testing::Test {
    MXUserStats() { Listen(120); }
    ~MXUserStats() override {
        MXUser_SetStatsFunc(nullptr, 0, FALSE, nullptr);
        MXUser_StatisticsControl(0, 0, 0);
        MXUser_DestroyExclLock(lock);
    }

    void Listen(guint maxLineLength) {
        MXUser_SetStatsFunc(&reported, maxLineLength, TRUE, [](gpointer context, const char *line) {
            static_cast<std::vector<std::string> *>(context)->emplace_back(line);
        });
    }

    std::string Take() {
        std::string all;
        for (const std::string &line : std::exchange(reported, {}))
            all += line;
        return all;
    }

    std::string Report() {
        MXUser_PerLockData();
        return Take();
    }

    /* Replaces "#" in a text by the number of the lock. */
    std::string Ours(std::string text) const {
        for (size_t at; (at = text.find('#')) != std::string::npos;)
            text.replace(at, 1, std::to_string(lock->header.serialNumber));
        return text;
    }

    MXUserExclLock *lock = MXUser_CreateExclLock("counted", 0xff);
    std::vector<std::string> reported;
};

void Action(MXUserHeader *header) {
    MXUserLockStatsReport(&reinterpret_cast<MXUserExclLock *>(header)->stats, header);
}

TEST_F(MXUserStats, TimesAreSummedUp) {
    MXUserBasicStats stats;
    MXUserBasicStatsSetUp(&stats, "x");
    MXUserBasicStatsDump(&stats, &lock->header);
    EXPECT_EQ(Ours("MXUser: e l=# t=x c=0 min=18446744073709551615 max=0 mean=0 sd=0\n"), Take());
    for (const guint64 time : {600000, 470000, 170000, 430000, 300000})
        MXUserBasicStatsSample(&stats, time);
    MXUserBasicStatsDump(&stats, &lock->header);
    EXPECT_EQ(Ours("MXUser: e l=# t=x c=5 min=170000 max=600000 mean=394000 sd=164711\n"), Take());
}

TEST_F(MXUserStats, AttemptsAreJudged) {
    MXUserAcquisitionStats stats;
    MXUserAcquisitionStatsSetUp(&stats);
    MXUser_StatisticsControl(0.3, 4, 50);
    MXUserAcquisitionStatsSample(&stats, true, false, 10);
    MXUserAcquisitionStatsSample(&stats, true, true, 49); /* the wait is too short */
    MXUserAcquisitionStatsSample(&stats, false, true, 7);
    EXPECT_EQ(0.0, MXUserKitchen(&stats).ratio); /* too few attempts */
    MXUserAcquisitionStatsSample(&stats, true, true, 50);
    MXUserAcquisitionStatsDump(&stats, &lock->header);
    EXPECT_THAT(Take(), HasSubstr(Ours("MXUser: ce l=# a=4 s=3 sc=1 sct=50 t=116\n")));

    const std::tuple<double, guint32, double, bool> rows[] = {
        {0.3, 4, 1.0 / 3, true},
        {0.34, 4, 1.0 / 3, false},
        {0.0, 5, 0, false},
        {0.3, 0, 0, false},
        /* never */ {0.3, G_MAXUINT32, 0, true}};
    for (const auto &[ratioFloor, countFloor, ratio, isHot] : rows) {
        MXUser_StatisticsControl(ratioFloor, countFloor, 50);
        EXPECT_DOUBLE_EQ(ratio, MXUserKitchen(&stats).ratio) << countFloor;
        EXPECT_EQ(isHot, MXUserKitchen(&stats).isHot) << countFloor;
    }
}

TEST_F(MXUserStats, ValuesFallIntoBinsOfEqualRatio) {
    const std::unique_ptr<MXUserHisto, Release<MXUserHistoTearDown>> histo(
        MXUserHistoSetUp("x", 100, 3));
    const auto *caller = reinterpret_cast<const char *>(0x1000);
    for (const guint64 value : {0, 99, 100, 102, 103, 200, 999, 1000, 99999, 100000, 7000000})
        MXUserHistoSample(histo.get(), value, caller++);
    MXUserHistoSample(histo.get(), 5, caller - 1); /* not the largest value of that caller */
    Listen(1000);
    MXUserHistoDump(histo.get(), &lock->header);
    EXPECT_EQ(Ours("MXUser: h l=# t=x min=100 max=100000\n"
                   " 0-5\n 1-1\n 30-1\n 99-1\n 100-1\n 299-3\n"
                   "MXUser: ht l=# t=x\n"
                   " 0x100a-7000000\n 0x1009-100000\n 0x1008-99999\n 0x1007-1000\n 0x1006-999\n"
                   " 0x1005-200\n 0x1004-103\n 0x1003-102\n 0x1002-100\n 0x1001-99\n"),
              Take());

    Listen(60);
    MXUserHistoDump(histo.get(), &lock->header);
    EXPECT_LT(3u, reported.size()); /* several texts, each with the first line, none too long */
    for (const std::string &message : reported) {
        EXPECT_GE(60u, message.size()) << message;
        EXPECT_EQ(0u, message.find("MXUser: h")) << message;
    }
    EXPECT_THAT(Take(), HasSubstr(" 299-3\n"));
}

TEST_F(MXUserStats, ALockIsNamedOnceAndReportsOnlyIfItCounts) {
    EXPECT_THAT(Report(), HasSubstr(Ours("MXUser: n n=counted l=# r=0xff\n")));
    MXUser_AcquireExclLock(lock);
    MXUser_ReleaseExclLock(lock);
    EXPECT_EQ("", Report());
    EXPECT_FALSE(MXUser_ControlExclLock(lock, MXUSER_CONTROL_STATS, 1));
    EXPECT_EQ("", Report());
    MXUser_SetStatsFunc(&reported, 120, TRUE, nullptr);
    MXUserLockStatsAttach(&lock->header, &lock->stats, Action, MXUserHistograms::Now);
    EXPECT_EQ("", Report());
}

TEST_F(MXUserStats, AModeCallsTheControlOperation) {
    static std::vector<guint32> arguments;
    arguments.clear();
    const MXUserControl control = [](MXUserHeader *, guint32, guint32 argument) {
        arguments.push_back(argument);
        return FALSE;
    };
    for (const guint32 mode : {0, 1, 2})
        MXUserLockStatsInit(&lock->header, &lock->stats, mode, control);
    EXPECT_EQ((std::vector<guint32>{0, 1}), arguments);
    EXPECT_EXIT(MXUserLockStatsInit(&lock->header, &lock->stats, 3, control),
                testing::ExitedWithCode(255), "^MXUserLockStatsInit: unknown stats mode: 3!\n$");
}

TEST_F(MXUserStats, ThreadsAreCountedWhileAnotherReports) {
    Report();
    MXUser_StatisticsControl(0, G_MAXUINT32, 0); /* all are hot: histograms from the first report */
    MXUserLockStatsAttach(&lock->header, &lock->stats, Action, MXUserHistograms::WhenHot);
    int count = 0;
    InThreads(8, [&](int number) {
        for (int i = 0; i < 500; i++) {
            if (number == 0 && i % 50 == 0)
                MXUser_PerLockData();
            if (i % 2 != 0 || !MXUser_TryAcquireExclLock(lock))
                MXUser_AcquireExclLock(lock);
            MXUser_AcquireExclLock(lock); /* by the holder: not counted as an attempt */
            count++;
            MXUser_ReleaseExclLock(lock);
            MXUser_ReleaseExclLock(lock);
        }
    });
    EXPECT_EQ(4000, count);
    reported.clear();
    const std::string text = Report();
    EXPECT_THAT(text, ContainsRegex(Ours("MXUser: e l=# t=a c=4000 min=[0-9]+ ")));
    EXPECT_THAT(text, ContainsRegex(Ours("MXUser: ce l=# a=4[0-9]+ s=4000 sc=")));
    EXPECT_THAT(text, ContainsRegex(Ours("MXUser: e l=# t=h c=4000 min=[0-9]+ ")));
    EXPECT_THAT(text, ContainsRegex(Ours("MXUser: ht l=# t=a\n 0x[0-9a-f]+-[0-9]+\n")));
    EXPECT_THAT(text, ContainsRegex(Ours("MXUser: h l=# t=h min=")));
}

TEST_F(MXUserStats, WaitingIsNotHolding) {
    MXUserLockStatsAttach(&lock->header, &lock->stats, Action, MXUserHistograms::WhenHot);
    MXUserCondVar *never = MXUser_CreateCondVarExclLock(lock);
    MXUser_AcquireExclLock(lock);
    MXUser_TimedWaitCondVarExclLock(lock, never, 0);
    MXUser_ReleaseExclLock(lock);
    MXUser_DestroyCondVar(never);
    EXPECT_THAT(Report(), HasSubstr(Ours("MXUser: e l=# t=h c=2 ")));
}

void RWAction(MXUserHeader *header) {
    MXUserLockStatsReport(&reinterpret_cast<MXUserRWLock *>(header)->stats, header);
}

TEST_F(MXUserStats, ThreadsThatReadAreCountedEach) {
    MXUserRWLock *shared = MXUser_CreateRWLock("shared", 1);
    MXUserLockStatsAttach(&shared->header, &shared->stats, RWAction, MXUserHistograms::Now);
    InThreads(8, [&](int number) {
        for (int i = 0; i < 100; i++) {
            if (number == 0)
                MXUser_AcquireForWrite(shared);
            else
                MXUser_AcquireForRead(shared);
            MXUser_ReleaseRWLock(shared);
        }
    });
    const std::string text = Report();
    EXPECT_THAT(text, HasSubstr(" t=a c=800 "));
    EXPECT_THAT(text, HasSubstr(" t=h c=800 "));
    MXUser_DestroyRWLock(shared);
    EXPECT_THAT(Report(), Not(HasSubstr("t=a")));
}

} // namespace
