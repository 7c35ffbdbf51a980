#include <gtest/gtest.h>

#include "tests/tools/simulator/soapClient.h"

using simulator::Options;
using simulator::Simulator;

namespace {

constexpr char kManager[] = "FerryServerConversionConversionManager";
constexpr char kJob[] = "FerryServerConversionConversionJob";

/* The simulator's service runs twelve jobs at a time. */
class Jobs : public testing::Test {
protected:
    static Options Settings() {
        Options options;
        options.machines = 0;
        options.frozenClock = true;
        options.jobs = 13;
        options.jobDurationMs = 1000;
        return options;
    }

    Jobs() : server(Settings()), client((server.RunInThread(), server.FerryUrl() + "/sdk")) {
        Call("FerryLogin", "FerrySessionManager", "FerrySessionManager",
             Argument("userName", "string", "administrator") +
                 Argument("password", "string", "secret"));
    }

    SoapReply Call(const std::string &method, const std::string &type, const std::string &id,
                   const std::string &arguments = "") {
        return client.Post(SoapClient::Text(method, type, id, arguments, "ferry"));
    }

    /* "active running 10" */
    std::string State(const std::string &job) const {
        return server.Property(job, "info.state") + " " +
               server.Property(job, "info.lastTask.state") + " " +
               server.Property(job, "info.lastTask.progress");
    }

    static std::string Handling(const std::string &word) {
        return "<activeTaskHandling xsi:type=\"FerryServerJobJobActiveTaskHandling\">" + word +
               "</activeTaskHandling>";
    }

    static std::string FaultOf(const SoapReply &reply) {
        return reply.Between("Fault xmlns=\"urn:ferry\" xsi:type=\"", "\"");
    }

    Simulator server;
    SoapClient client;
};

TEST_F(Jobs, RunWithProgressAndTheNextWaitsForItsTurn) {
    server.Advance(70);
    EXPECT_EQ("active running 7", State("job-1"));
    EXPECT_EQ("active queued 0", State("job-13"));
    server.Advance(930);
    EXPECT_EQ("deactivated success 100", State("job-1"));
    EXPECT_EQ("active running 0", State("job-13"));
    server.Advance(1000);
    EXPECT_EQ("deactivated success 100", State("job-13"));
    server.Advance(1000);
    EXPECT_EQ("deactivated success 100", State("job-13"));
}

TEST_F(Jobs, AreStoppedOnlyIfTheCallerWantsTheirTaskCancelled) {
    EXPECT_EQ("FerryJobHasActiveTaskFault",
              FaultOf(Call("FerryServerJobStop", kJob, "job-1", Handling("failIfActiveTask"))));
    EXPECT_EQ("InvalidArgument",
              FaultOf(Call("FerryServerJobStop", kJob, "job-1", Handling("anyhow"))));
    server.Advance(500);
    EXPECT_EQ(200, Call("FerryServerJobStop", kJob, "job-1", Handling("cancelActiveTask")).status);
    EXPECT_EQ("deactivated error 50", State("job-1"));
    EXPECT_EQ("red", server.Property("job-1", "overallStatus"));
    EXPECT_EQ("active running 0", State("job-13")) << "its place is free";
    EXPECT_EQ("InvalidState",
              FaultOf(Call("FerryServerJobStop", kJob, "job-1", Handling("cancelActiveTask"))));
    server.Advance(500);
    EXPECT_EQ("deactivated error 50", State("job-1"));
}

TEST_F(Jobs, ContinueWhereTheyWereSuspended) {
    server.Advance(300);
    Call("FerryServerJobSuspend", kJob, "job-1", Handling("cancelActiveTask"));
    EXPECT_EQ("suspended queued 30", State("job-1"));
    server.Advance(2000);
    EXPECT_EQ("suspended queued 30", State("job-1"));
    Call("FerryServerJobResume", kJob, "job-1");
    server.Advance(10);
    EXPECT_EQ("active running 31", State("job-1"));
    server.Advance(690);
    EXPECT_EQ("deactivated success 100", State("job-1"));
    EXPECT_EQ("InvalidState", FaultOf(Call("FerryServerJobResume", kJob, "job-1")));
}

TEST_F(Jobs, AreCreatedFailAndAreRemoved) {
    server.FailTasks("FerryServerConversionManagerCreateJob", "FerryFileIOFault", "disk full");
    const SoapReply made = Call("FerryServerConversionManagerCreateJob", kManager, kManager,
                                "<spec xsi:type=\"FerryServerConversionConversionJobSpec\">" +
                                    Argument("name", "string", "mine") + "</spec>");
    EXPECT_EQ("job-14", made.Between("<key>", "<"));
    EXPECT_EQ("mine", server.Property("job-14", "name"));
    server.Advance(1000);
    EXPECT_EQ("deactivated error 100", State("job-1"));
    EXPECT_EQ("disk full", server.Property("job-1", "info.lastTask.error.localizedMessage"));
    const std::string job = ObjectArgument("job", kJob, "job-14");
    const std::string destroy = "FerryServerConversionManagerDestroyJob";
    EXPECT_EQ("FerryJobHasActiveTaskFault", FaultOf(Call(destroy, kManager, kManager, job)));
    EXPECT_EQ(200, Call(destroy, kManager, kManager, job + Handling("cancelActiveTask")).status);
    EXPECT_EQ("", State("job-14").substr(2));
    server.Advance(1000);
}

TEST_F(Jobs, AreOnlyChangedByUsersWhoMay) {
    SoapClient observer(server.FerryUrl() + "/sdk");
    observer.Post(SoapClient::Text("FerryLogin", "FerrySessionManager", "FerrySessionManager",
                                   Argument("userName", "string", "observer") +
                                       Argument("password", "string", "secret"),
                                   "ferry"));
    EXPECT_EQ("NoPermission",
              FaultOf(observer.Post(SoapClient::Text("FerryServerJobStop", kJob, "job-1",
                                                     Handling("cancelActiveTask"), "ferry"))));
}

} // namespace
