#include "tools/orvane/jobReader.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>
#include <orvane/objectPath.h>
#include <orvane/schema/ferry.h>

#include "tools/orvane/message.h"
#include "tools/orvane/nearestWord.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

constexpr size_t kMostShown = 5; /* jobs or names in a message */

Failure NotFound(const std::string &word, const std::vector<Job> &all) {
    std::vector<std::string> names;
    for (const Job &job : all) {
        names.push_back(job.name);
        names.emplace_back(job.object->id);
    }
    std::string similar;
    for (const std::string &name : NearestWords(word, names, kMostShown))
        similar += fmt::format("{}\"{}\"", similar.empty() ? "" : ", ", Printable(name));
    const std::string shown = Printable(word);
    if (similar.empty())
        return Failure(Text(MSGID("job.none") "there is no job \"%s\"; \"orvane job ls\" shows "
                                              "what there is",
                            shown.c_str()));
    return Failure(Text(MSGID("job.similar") "there is no job \"%s\"; similar: %s", shown.c_str(),
                        similar.c_str()));
}

Failure Ambiguous(const std::string &word, const std::vector<const Job *> &meant) {
    std::string ids;
    for (size_t i = 0; i < std::min(meant.size(), kMostShown); i++)
        ids += (i > 0 ? ", " : "") + Printable(meant[i]->object->id);
    if (meant.size() > kMostShown)
        ids += ", ...";
    return Failure(Text(MSGID("job.several") "%d jobs are called \"%s\": %s; name one by its id",
                        static_cast<int>(meant.size()), Printable(word).c_str(), ids.c_str()));
}

Job CopyOf(const Job &job) {
    return MakeJob(job.object.get());
}

Job FindJob(const std::vector<Job> &all, const std::string &word) {
    std::vector<const Job *> found;
    for (const Job &job : all) {
        if (word == job.object->id)
            return CopyOf(job);
        if (word == job.name)
            found.push_back(&job);
    }
    if (found.empty())
        throw NotFound(word, all);
    if (found.size() > 1)
        throw Ambiguous(word, found);
    return CopyOf(*found.front());
}

} // namespace

std::string Job::Fact(const char *path) const {
    const GPtr<char> text(orvane_object_get_path_text(G_OBJECT(object.get()), path));
    return text ? text.get() : "";
}

int Job::Progress() const {
    const std::string text = Fact("info.lastTask.progress");
    int percent = -1;
    std::from_chars(text.data(), text.data() + text.size(), percent);
    return percent;
}

bool Job::IsOver() const {
    const std::string task = Fact("info.lastTask.state");
    return task == "success" || task == "error" || Fact("info.state") == "deactivated";
}

Job MakeJob(SkemaQormManagedObject *object) {
    const GPtr<char> name(orvane_object_get_path_text(G_OBJECT(object), "name"));
    return {ProxyPtr(static_cast<SkemaQormManagedObject *>(g_object_ref_sink(object))),
            name ? name.get() : ""};
}

ObjectPtr<GObject> JobFilterSpec(const Service &service) {
    const ProxyPtr manager = service.Manager("conversionManager");
    if (!manager)
        throw Failure(
            Text(MSGID("job.noManager") "the service has no conversion jobs, or names them "
                                        "in a way that is not known; is it the second "
                                        "service of the host?"));
    GObject *jobs = orvane_traversal_spec_new(
        "jobs", SKEMA_TYPE_FERRY_SERVER_CONVERSION_CONVERSION_FOLDER, "job", FALSE, TRUE, nullptr);
    GObject *folder =
        orvane_traversal_spec_new("folder", SKEMA_TYPE_FERRY_SERVER_CONVERSION_CONVERSION_MANAGER,
                                  "rootFolder", FALSE, TRUE, jobs, nullptr);
    return ObjectPtr<GObject>(orvane_filter_spec_new(
        TRUE, orvane_object_spec_new(manager.get(), TRUE, TRUE, folder, nullptr),
        orvane_property_spec_new(SKEMA_TYPE_FERRY_SERVER_JOB_JOB, FALSE, "name", "overallStatus",
                                 "info", nullptr),
        nullptr));
}

std::vector<Job> ReadJobs(const Service &service) {
    Operation retrieve(Text(MSGID("job.reading") "reading the jobs"), service.TimeoutSeconds());
    const ObjectPtr<GObject> spec = JobFilterSpec(service);
    const ValueArrayPtr set(orvane_filter_spec_set_new(FALSE, spec.get(), nullptr));
    orvane_session_retrieve_contents(service.Session(), set.get(), retrieve.Listener());
    std::vector<Job> jobs;
    for (const ObjectPtr<GObject> &object : retrieve.Objects()) {
        if (SKEMA_IS_FERRY_SERVER_JOB_JOB(object.get()))
            jobs.push_back(MakeJob(reinterpret_cast<SkemaQormManagedObject *>(object.get())));
    }
    return jobs;
}

std::vector<Job> FindJobs(const Service &service, const std::vector<std::string> &words) {
    std::vector<Job> all = ReadJobs(service);
    if (words.empty())
        return all;
    std::vector<Job> found;
    for (const std::string &word : words)
        found.push_back(FindJob(all, word));
    return found;
}

} // namespace orvaneCli
