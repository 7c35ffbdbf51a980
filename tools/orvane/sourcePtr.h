/*
 * sourcePtr.h -- a source of a main context that is taken from it at the end of a scope
 */
#pragma once

#include <memory>

#include <glib.h>

namespace orvaneCli {

struct DestroySource {
    void operator()(GSource *source) const {
        g_source_destroy(source);
        g_source_unref(source);
    }
};
using SourcePtr = std::unique_ptr<GSource, DestroySource>;

} // namespace orvaneCli
