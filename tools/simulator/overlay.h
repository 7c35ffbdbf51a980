/*
 * overlay.h -- values for what overlays of the schema add: machines that have more to show
 *
 *   managed VirtualMachine
 *     summary        VirtualMachineSummary
 *   data VirtualMachineSummary ...
 *     note           string?
 *
 * gives each machine a "summary" whose "note" is "note of vm-101". A number is that of the object's id, a
 * truth value is true for even ones, an enumeration has its first word, a list one item, an object its own
 * fields, to a bounded depth. References have nothing to refer to and stay unset, as do fields that the
 * version which is spoken does not have.
 *
 * Only the overlays are read, not the tables of the library; what those say of a class shows only where
 * an overlay repeats it. An enumeration of theirs has no first word here, so its fields stay unset.
 */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/simulator/value.h"

namespace simulator {

class Overlay {
public:
    /* Files, and folders of *.schema, for a service of that version. Throws std::runtime_error, with file
     * and line. */
    Overlay(const std::vector<std::string> &paths, const std::string &version);
    ~Overlay();
    Overlay(const Overlay &) = delete;
    Overlay &operator=(const Overlay &) = delete;

    /* Adds what the overlays say of its class to the properties of a new object. */
    void Complete(const std::string &type, const std::string &id,
                  std::vector<Field> &properties) const;

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace simulator
