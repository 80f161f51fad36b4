#pragma once

#include <gtk/gtk.h>

#include "platform/bar.h"
#include "platform/gtk/labels.h"

namespace parlen::gtk {

/// The widgets of a bar, with a floating reference. The labels are taken out of any other bar.
GtkWidget* makeBar(const platform::BarStack& bar, const Labels& labels);

}  // namespace parlen::gtk
