/*
 * client.h -- an application that uses most of the library, to be disturbed at every step
 *
 *   CONNECT -> LOAD -> TASK -> UPDATE -> CALL -> DISCONNECT -> ENDED
 *
 * It connects to a simulator on the tests' loop, loads a machine and reads its name, powers it on and follows the
 * task, waits for a property to change, makes a plain call and disconnects. Each step begins in the
 * signal handler that ended the one before. A step that fails goes on with DISCONNECT.
 *
 * A test may set functions that run before each callback of the library and inside each signal handler, and
 * release or end something there. Afterwards End() releases what is left and reports what went wrong: a
 * listener that was signalled twice, one that outlived its end, a completion function or an asynchronous callback that was
 * not invoked exactly once, a callback that is still registered.
 *
 * Threads: one; one client at a time.
 */
#pragma once

#include <functional>

#include <orvane/orvane.h>
#include <orvane/orvaneGlib.h>

#include "tools/simulator/simulator.h"

namespace scenario {

enum class Step { kConnect, kLoad, kTask, kUpdate, kCall, kDisconnect, kEnded };

struct Client {
    Client();
    ~Client();
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    /* Starts with CONNECT and runs until the end, or until nothing happens any more. */
    void Run();

    /* Releases everything. Returns what is wrong; empty if nothing is. */
    std::string End();

    /* Disturbances. Each does nothing if there is nothing left to release or end. */
    void CancelListener();
    void DropListener();
    void DropMachine();
    void DropSession();
    void Disconnect();
    void ShutDown();
    void CloseConnections() { server.ResetConnections(); }
    void Abort();
    void PassTimeLimit(); /* that all operations have */
    void ExpireSessions() { server.ExpireSessions(); }
    /* The service refuses connections, until the session wants to connect again. */
    void Interrupt();
    /* From now on the session logs in again automatically, and connects again. */
    void Renew();

    simulator::Simulator server;
    Step step = Step::kConnect;
    bool failed = false; /* a step ended in failure */
    int numHandlers = 0; /* signal handlers run so far */
    int numChanges = 0;  /* changes of the machine's name seen */
    std::vector<std::string>
        signals; /* in order: "CONNECT success", "CALL failure" and the fault */

    /* Called inside each signal handler of a listener, with its number from 0. */
    std::function<void(int)> inHandler;

private:
    struct Watched {
        Client *client;
        OrvaneListener *listener; /* NULL once it has died */
        Step step;
        int numFinals = 0;
        int numCompleted = 0;    /* calls of its completion function */
        bool isFollowed = false; /* in the form of GIO, too */
        int numReady = 0;        /* calls of the callback of that form */
        bool isReleased = false; /* the client's reference */
    };

    static void OnFinal(OrvaneListener *listener, Watched *watched);
    static void OnCompleted(OrvaneListener *listener, OrvaneOutcome outcome, gpointer watched);
    static void OnListenerGone(gpointer watched, GObject *listener);
    static void OnState(Client *client);
    static void OnNameChanged(Client *client);
    static void OnReady(GObject *listener, GAsyncResult *result, gpointer watched);
    /* Runs what the test set, inside a signal handler. */
    void RunInHandler();
    OrvaneListener *NewListener();
    void FollowLast();
    void Begin(Step next);
    void Connect();
    void Load();
    void Call();
    Watched *Pending();
    static void Release(Watched *watched);

    OrvaneSession *session = nullptr;
    SkemaQormManagedObject *machine = nullptr;
    std::vector<std::unique_ptr<Watched>> listeners;
    bool isShutDown = false;
    bool connectsAgain = false;
};

/* Name of a step, for messages. */
const char *StepName(Step step);

} // namespace scenario
