/*
 * simulator.h -- a simulated service: an inventory, sessions, tasks and a property collector
 *
 *   simulator::Simulator server({.machines = 500});
 *   server.Start();
 *   ... connect to server.Url() as "administrator" with the password "secret" ...
 *   server.Advance(5000);                              // tasks move on, long polls run out
 *   server.SetProperty("vm-101", "name", "renamed");   // the client gets an update
 *   EXPECT_EQ(1, server.NumCalls("Login"));
 *
 * It shares no code with the library, except for the reader of overlays, so that a mistake in one is not hidden
 * by the same mistake in the other.
 *
 * Loop:      Start() opens the port and starts no thread. Call Run() whenever PollDescriptor() is
 *            readable or TimeoutMs() has passed. RunInThread() does that in a thread of its own.
 * Time:      all periods are measured by one clock, the machine's plus what Advance() added; with
 *            `frozenClock` only Advance() moves it, and no timer expires without it.
 * Errors:    Start() throws std::runtime_error, and so does the constructor if there is no such kind
 *            of certificate; bad input from a client is answered with a fault.
 * Threads:   every function may be called from any thread; each call locks the whole simulator.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace certificates {
struct Presented;
}

namespace simulator {

/* Forms of the versions document. */
enum class VersionsForm {
    Current,        /* the version of the options, and older ones of its family */
    UnknownCurrent, /* the current version is "99.0"; that of the options is among the prior ones */
    SeveralNamespaces, /* two unknown namespaces before the right one */
    UnknownOnly,       /* well formed, but no version that a client can know */
    WrongRoot,         /* another root element */
    Unusable,          /* not XML */
    Empty,             /* status 200 without a body */
    Missing,           /* status 404: clients go on to the WSDL */
    MissingWithWsdl,   /* as Missing; the WSDL is served even if `wsdl` is false */
};

enum class TroubleKind {
    Close,         /* closes the connection without an answer */
    Reset,         /* the same, with a reset */
    Drop,          /* closes it after `bytes` bytes of the answer's body */
    Slow,          /* answers after `delayMs` on the simulator's clock */
    Silent,        /* takes the request and never answers */
    Page,          /* an HTML page with `status` */
    EmptyBody,     /* `status`, no body */
    NotXml,        /* status 200, plain text */
    Dtd,           /* a SOAP answer with a document type in front */
    WrongPrefix,   /* the SOAP namespace under another prefix than "soapenv" */
    Fault,         /* a fault of `faultType` with `message`; the call is not carried out */
    FaultNoDetail, /* a fault without a detail element */
    ExpireSession, /* ends the caller's session, then goes on with the call */
    NoResult,      /* executes the call, but answers without "returnval" */
};

struct Trouble {
    TroubleKind kind = TroubleKind::Close;
    std::string method;  /* which calls: a method's name, "versions", "wsdl", or empty for all */
    int count = 1;       /* how many of them; -1 for all until ClearTroubles() */
    int skip = 0;        /* how many of them are left alone first */
    size_t bytes = 0;    /* Drop */
    int64_t delayMs = 0; /* Slow */
    int status = 503;    /* Page, EmptyBody */
    std::string faultType = "SystemError";
    std::string message = "The simulator fails on demand.";
};

struct User {
    std::string name;
    std::string password;
    bool readOnly = false; /* may call no method that changes something */
};

struct Options {
    std::string address = "127.0.0.1"; /* of IPv4 or IPv6 */
    int port = 0;                      /* 0: one that is free */

    int clusters = 1;
    int hosts = 4; /* in all, spread over the clusters */
    int machines = 200;

    std::string version = "ozy25/6.0";                                 /* "namespace/version" */
    std::string instanceUuid = "5f0e1d2c-3b4a-4596-8778-695a4b3c2d1e"; /* empty: not sent */
    VersionsForm versionsForm = VersionsForm::Current;
    bool wsdl = true; /* the WSDL of old clients is served */
    bool viewManager = true;
    bool ferry = true; /* the second service is served at FerryUrl() */
    std::string ferryVersion = "ferry/5.0";

    std::vector<User> users = {{"administrator", "secret"}, {"observer", "secret", true}};
    std::string ticketDirectory;        /* for AcquireLocalTicket; empty: the call is refused */
    int64_t sessionTimeoutMs = 1800000; /* a session ends after this time without use; 0: never */

    /* A connection is closed after this time without traffic, by the machine's clock, unless a call on it is
     * still to be answered. */
    int idleSeconds = 60;

    int64_t taskDurationMs = 2000; /* from the call to the end of a task */
    int jobs = 0;                  /* conversion jobs of the second service that begin at once */
    int64_t jobDurationMs = 60000; /* from the start of a job to its end */
    bool frozenClock = false;

    /* The service speaks https with a kind of certificateKind.h, such as "self-signed", or with a
     * certificate and its key as PEM texts. */
    std::string certificateKind;
    std::string certificate;
    std::string privateKey;

    /* Overlays of the schema, as files or folders, for whose fields objects get values; see overlay.h. */
    std::vector<std::string> overlay;

    bool control = false; /* serves /control/..., see docs/simulator.md */
    /* Called with a line per request, without a line end. */
    std::function<void(std::string_view)> log;
};

class Simulator {
public:
    explicit Simulator(Options options = {});
    ~Simulator(); /* stops it */
    Simulator(const Simulator &) = delete;
    Simulator &operator=(const Simulator &) = delete;

    void Start();
    void RunInThread(); /* starts it if that was not done */
    void Stop();        /* closes all connections and the port; ends the thread */

    int Port() const;
    std::string Url() const;      /* "http://127.0.0.1:PORT/sdk": what a client connects to */
    std::string FerryUrl() const; /* the same for the second service */
    /* Returns the certificate that is presented, if it was made here; null otherwise. */
    const certificates::Presented *Certificate() const;

    /* For an outside loop. The descriptor stays the same from Start() to Stop(). It becomes readable
     * also when a timer expires, so a loop needs to watch nothing else. */
    int PollDescriptor() const;
    int TimeoutMs() const; /* -1: no limit */
    void Run();            /* does what is due; never waits */

    void Advance(int64_t milliseconds);
    int64_t NowMs() const;

    /* Troubles apply in the order in which they were added, one per request. */
    void AddTrouble(const Trouble &trouble);
    void ClearTroubles();
    void SetVersionsForm(VersionsForm form);
    void SetVersionsDocument(const std::string &text); /* literally; empty: the form again */
    void SetListening(bool listening);                 /* false: new connections are refused */
    void ResetConnections();                           /* resets all that are open */
    void ExpireSessions();                             /* ends all sessions */
    /* Leaves a property out of all results and names it in "missingSet" with a fault. */
    void DenyProperty(const std::string &type, const std::string &property,
                      const std::string &faultType = "NoPermission");

    /* The inventory. Ids are those of the wire: "vm-101", "group-d1". Where the main service has no object of an id,
     * that of the second one is read or changed. */
    std::vector<std::string>
    Ids(const std::string &type) const; /* of exactly this type, in order */
    /* Returns the value of a simple property as text; empty if there is none. */
    std::string Property(const std::string &id, const std::string &path) const;
    /* Changes a simple property (a text, number, truth value, enumeration) that the object has.
     * Returns false if there is no such object or property. */
    bool SetProperty(const std::string &id, const std::string &property, const std::string &value);
    std::string AddMachine(const std::string &name); /* into the first machine folder; its id */
    bool RemoveMachine(const std::string &id);
    /* All further tasks of a method fail with the fault; with an empty type they succeed again. */
    void FailTasks(const std::string &method, const std::string &faultType,
                   const std::string &message = "The simulator fails on demand.");

    /* Counters and records. Calls are counted when their request was read, also if they fail. */
    int NumCalls(const std::string &method = "") const;       /* empty: all methods together */
    int NumDocuments() const;                                 /* GET requests */
    std::string LastRequest(const std::string &method) const; /* body of the last such call */
    std::string LastHeader(const std::string &method, const std::string &header) const;
    uint64_t BytesIn() const;   /* of request bodies */
    uint64_t BytesOut() const;  /* of answer bodies */
    int NumConnections() const; /* accepted since Start() */
    int NumOpenConnections() const;
    int NumSessions() const;
    int NumFilters() const;
    int NumWaiting() const;     /* long polls that are open now */
    int NumKeptChanges() const; /* of the inventory, for sessions that have not read them */
    void ResetCounters();

    /* Returns the body of the last reply to a method. */
    std::string LastReply(const std::string &method) const;

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace simulator
