/*
 * rows.h -- attacks, a row each: what the peer does, and what the application must see of it
 *
 * A test of a row runs in a process of its own, with a limit of processor time, and passes the ledger. In an attack
 * "@PORT@" becomes the port of a stranger: a second peer, which must never be contacted.
 */
#pragma once

#include <climits>

#include "tests/hostile/application.h"
#include "tests/hostile/peer.h"

namespace hostile {

struct Row {
    std::string name;
    std::string steps;  /* a regular expression over what Run() returns */
    std::string method; /* whose answer is the attacker's */
    std::string answer; /* its bytes up to "piece"; without any, silence */
    std::string piece;  /* comes "times" times */
    int times = 0;
    std::string tail;      /* the bytes after that */
    bool isClosed = false; /* the peer closes the connection afterwards */
    bool isTls = false;    /* over TLS, and the session is strict */
    bool hasTrace = false;
    int maxAttacks = 1;             /* requests for the method that the peer may get */
    uint64_t maxBytes = UINT64_MAX; /* that it may get rid of */
    uint64_t bodyLimit = 0;         /* of the session; 0 for the usual ones */
    uint64_t treeLimit = 0;
    std::string logged; /* must be in the log */
    Login login = Login::kPassword;
    bool isEndedBySelf = false;
    std::string path = "/sdk";
};

/* Steps of several rows. */
inline constexpr char kAllWell[] = "connect success ozy25.6.0, call success, disconnect success";
inline constexpr char kFails[] = "connect failure.*";

/* Lengths, chunks, headers, redirects, connections. */
std::vector<Row> TransportRows();
/* What is in replies and documents. */
std::vector<Row> DocumentRows();
/* The update stream. */
std::vector<Row> UpdateRows();
std::vector<Row> AllRows();

std::string Repeated(const std::string &piece, int times);

/* A text with the port of a stranger in it. */
std::string WithPort(std::string text, int port);

/* All bytes of a row's answer, with the piece at most so many times. */
std::string AnswerOf(const Row &row, int maxTimes = INT_MAX);

} // namespace hostile
