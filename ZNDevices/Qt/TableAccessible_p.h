#pragma once

// How tables and labels appear to assistive technology: a list of as many items as the table has rows, each with its
// texts as name, and static texts.
namespace zn::qt {

/// Makes them known to Qt. Later calls do nothing. Main thread, with a QApplication.
void installAccessibility();

}  // namespace zn::qt
