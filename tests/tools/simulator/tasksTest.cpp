#include "tests/tools/simulator/soapClient.h"

namespace {

struct Tasks : SimulatorTest {
    Tasks() : SimulatorTest({.machines = 8, .taskDurationMs = 1000, .frozenClock = true}) {
        client.Login();
    }

    /* Starts a task and returns its id. */
    std::string Start(const std::string &method, const std::string &id,
                      const std::string &arguments = "",
                      const std::string &type = "VirtualMachine") {
        return client.Call(method, type, id, arguments).Id();
    }

    std::string Info(const std::string &task, const std::string &field) {
        return server.Property(task, "info." + field);
    }
};

TEST_F(Tasks, CanBeCancelledIfTheySaySo) {
    const std::string task = Start("PowerOnVM_Task", "vm-101");
    server.Advance(500);
    EXPECT_EQ(200, client.Call("CancelTask", "Task", task).status);
    EXPECT_EQ("true", Info(task, "cancelled"));
    EXPECT_EQ("error", Info(task, "state"));
    server.Advance(1000);
    EXPECT_EQ("50", Info(task, "progress")) << "it has stopped";
    EXPECT_EQ("poweredOff", server.Property("vm-101", "runtime.powerState"));
    EXPECT_EQ("NotSupported", client.Call("CancelTask", "Task", task).Fault());

    const std::string rename =
        Start("Rename_Task", "vm-101", Argument("newName", "string", "x"), "ManagedEntity");
    EXPECT_EQ("NotSupported", client.Call("CancelTask", "Task", rename).Fault());
}

TEST_F(Tasks, AreListedByTheManagerAfterTheirEndForAWhile) {
    const auto listed = [&] {
        return client.Properties("TaskManager", "TaskManager", {"recentTask"}).Count(">task-");
    };
    Start("PowerOnVM_Task", "vm-101");
    Start("PowerOffVM_Task", "vm-101"); /* fails */
    server.Advance(1000);
    EXPECT_EQ(2, listed());
    server.Advance(600000);
    EXPECT_EQ(0, listed());
    for (int i = 0; i < 102; i++)
        Start("PowerOffVM_Task", "vm-102");
    EXPECT_EQ(102, listed());
    server.Advance(1000);
    EXPECT_EQ(100, listed());
}

TEST_F(Tasks, HaveTheirEffectsOnTheInventory) {
    const std::string snapshot =
        Start("CreateSnapshot_Task", "vm-101",
              Argument("name", "string", "s") + Argument("memory", "boolean", "0") +
                  Argument("quiesce", "boolean", "0"));
    const std::string rename =
        Start("Rename_Task", "vm-102", Argument("newName", "string", "renamed"), "ManagedEntity");
    const std::string taken = Start("Rename_Task", "vm-103",
                                    Argument("newName", "string", "machine-0001"), "ManagedEntity");
    const std::string clone =
        Start("CloneVM_Task", "vm-101",
              ObjectArgument("folder", "Folder", "group-v3") + Argument("name", "string", "copy"));
    const std::string destroy = Start("Destroy_Task", "vm-103", "", "ManagedEntity");
    EXPECT_EQ(8u, server.Ids("VirtualMachine").size());
    server.Advance(1000);

    EXPECT_EQ("snapshot-1", Info(snapshot, "result"));
    EXPECT_EQ(1u, server.Ids("VirtualMachineSnapshot").size());
    EXPECT_EQ("renamed", server.Property("vm-102", "name"));
    EXPECT_TRUE(client.Properties("Task", taken).Has("<fault xsi:type=\"DuplicateName\">"));
    EXPECT_EQ("copy", server.Property(Info(clone, "result"), "name"));
    EXPECT_EQ("success", Info(destroy, "state"));
    EXPECT_EQ("", server.Property("vm-103", "name"));
    EXPECT_FALSE(client.Properties("Folder", "group-v3", {"childEntity"}).Has(">vm-103<"));
}

TEST_F(Tasks, OfAClientAreDrivenByIt) {
    const SoapReply created = client.Call("CreateTask", "TaskManager", "TaskManager",
                                          ObjectArgument("obj", "VirtualMachine", "vm-101") +
                                              Argument("taskTypeId", "string", "example.work") +
                                              Argument("cancelable", "boolean", "0"));
    const std::string task = created.Between("<task type=\"Task\">", "<");
    const auto advance = [&](const char *percent) {
        return client.Call("UpdateProgress", "Task", task, Argument("percentDone", "int", percent));
    };
    EXPECT_EQ(200, advance("40").status);
    EXPECT_EQ("40", Info(task, "progress"));
    const std::string state = "<state xsi:type=\"TaskInfoState\">success</state>" +
                              Argument("result", "string", "all done");
    EXPECT_EQ(200, client.Call("SetTaskState", "Task", task, state).status);
    EXPECT_EQ("all done", Info(task, "result"));
    EXPECT_EQ("InvalidState", client.Call("SetTaskState", "Task", task, state).Fault());
    EXPECT_EQ("InvalidState", advance("50").Fault());
}

} // namespace
