#include "tests/tools/simulator/soapClient.h"

namespace {

constexpr char kManager[] = "FerryServerConversionConversionManager";
constexpr char kJob[] = "FerryServerConversionConversionJob";

/* The simulator's service runs twelve jobs at a time. */
struct Jobs : SimulatorTest {
    Jobs()
        : SimulatorTest({.machines = 0, .jobs = 13, .jobDurationMs = 1000, .frozenClock = true}) {
        service.Login();
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

    SoapReply Stop(const std::string &handling) {
        return service.Call("FerryServerJobStop", kJob, "job-1", Handling(handling));
    }

    SoapClient service{server.FerryUrl() + "/sdk", "ferry"};
};

TEST_F(Jobs, AreStoppedOnlyIfTheCallerWantsTheirTaskCancelled) {
    EXPECT_EQ("FerryJobHasActiveTaskFault", Stop("failIfActiveTask").Fault());
    EXPECT_EQ("InvalidArgument", Stop("anyhow").Fault());
    server.Advance(500);
    EXPECT_EQ(200, Stop("cancelActiveTask").status);
    EXPECT_EQ("deactivated error 50", State("job-1"));
    EXPECT_EQ("red", server.Property("job-1", "overallStatus"));
    EXPECT_EQ("active running 0", State("job-13")) << "its place is free";
    EXPECT_EQ("InvalidState", Stop("cancelActiveTask").Fault());
    server.Advance(500);
    EXPECT_EQ("deactivated error 50", State("job-1"));
}

TEST_F(Jobs, AreCreatedFailAndAreRemoved) {
    server.FailTasks("FerryServerConversionManagerCreateJob", "FerryFileIOFault", "disk full");
    const SoapReply made =
        service.Call("FerryServerConversionManagerCreateJob", kManager, kManager,
                     "<spec xsi:type=\"FerryServerConversionConversionJobSpec\">" +
                         Argument("name", "string", "mine") + "</spec>");
    EXPECT_EQ("job-14", made.Between("<key>", "<"));
    EXPECT_EQ("mine", server.Property("job-14", "name"));
    server.Advance(1000);
    EXPECT_EQ("deactivated error 100", State("job-1"));
    EXPECT_EQ("disk full", server.Property("job-1", "info.lastTask.error.localizedMessage"));
    const std::string job = ObjectArgument("job", kJob, "job-14");
    const std::string destroy = "FerryServerConversionManagerDestroyJob";
    EXPECT_EQ("FerryJobHasActiveTaskFault", service.Call(destroy, kManager, kManager, job).Fault());
    EXPECT_EQ(200,
              service.Call(destroy, kManager, kManager, job + Handling("cancelActiveTask")).status);
    EXPECT_EQ("", State("job-14").substr(2));
    server.Advance(1000);
}

} // namespace
