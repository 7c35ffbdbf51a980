/*
 * fileLockInt.h -- what the sources of fileLock.h share
 *
 *   fileLock.cpp         entering, scanning, waiting, leaving
 *   fileLockMember.cpp   member files, and who a locker is
 *   fileLockDevice.cpp   locks of serial devices
 */
#pragma once

#include <array>
#include <string>

#include "lib/file/fileLock.h"

constexpr gsize kFileLockMemberSize = 512; /* of a member file, in bytes */

/* What a member file says. */
struct LockValues {
    std::string machineID;
    std::string executionID;
    guint32 lamportNumber = 0;
    char lockType = 'X';
    std::string locationChecksum; /* empty for none */
    std::string memberName;       /* "M12345.lck" */
};

enum class MemberResult { Read, Vanished, Failed };

/* Reads a member file. One that cannot be understood is removed and has vanished. After a failure @error is set. */
MemberResult FileLockMemberValues(const std::string &directory, const std::string &name,
                                  LockValues *values, int *error);
/* Writes the own member file, "E...", and renames it to its final name. 0 or an errno value. */
int FileLockCreateMemberFile(int fd, const LockValues &values, const std::string &entryPath,
                             const std::string &memberPath);

/* Whether a name has the form of an entry: one of M, D, E, five digits, ".lck". */
bool FileLockIsEntryName(const std::string &name);

/* Returns the identifier of this machine; and whether two are of one machine. */
const std::string &FileLockGetMachineID();
bool FileLockMachineIDMatch(const std::string &first, const std::string &second);
bool FileLockIsThisMachine(const std::string &machineID);

/* Returns the identifier of a process: "4711-123456(name)"; empty if it is dead. */
std::string FileLockProcessDescriptor(pid_t pid);
const std::string &FileLockGetExecutionID();
/* Whether a locker of this machine is alive, as far as can be known. */
bool FileLockValidExecutionID(const std::string &text);

/* The djb2 hash of a text. */
guint32 FileLockHash(const std::string &text);

/* A random number, and a sleep of a random length between two, which returns how long it was. */
guint32 FileSimpleRandom();
guint32 FileSleeper(guint32 minMsec, guint32 maxMsec);
