/*
 * jobReader.h -- the conversion jobs of the second service
 *
 *   for (const Job &job : ReadJobs(service))
 *       job.name, job.Fact("info.lastTask.progress")
 *
 * A fact that the service does not send, or that the schema does not know, is empty.
 *
 * Ownership: a job keeps its proxy.
 * Errors:    Failure.
 */
#pragma once

#include <string>
#include <vector>

#include "tools/orvane/service.h"

namespace orvaneCli {

struct Job {
    ProxyPtr object;
    std::string name;

    /* A property by its path, as text. */
    std::string Fact(const char *path) const;
    /* 0 to 100; -1 if it is not known. */
    int Progress() const;
    /* Whether it has come to its end; false as long as that is not known. */
    bool IsOver() const;
    /* Whether its end was no success. */
    bool IsFailed() const { return Fact("info.lastTask.state") == "error"; }
};

Job MakeJob(SkemaQormManagedObject *object);

/* All jobs and what is shown of them, for a retrieval or a filter. */
ObjectPtr<GObject> JobFilterSpec(const Service &service);

/* In the order of the service. */
std::vector<Job> ReadJobs(const Service &service);

/* Returns the jobs of the words, each an id or a name that only one has; all of them if there are no words. */
std::vector<Job> FindJobs(const Service &service, const std::vector<std::string> &words);

} // namespace orvaneCli
