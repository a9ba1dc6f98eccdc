#ifndef BENCH_SDKSTUB_H
#define BENCH_SDKSTUB_H

#include "sdk/MDSVStk.h"

/// The device-service library reduced to a menu: everything else succeeds at once and does nothing, so that what is
/// measured is the plug-in's own work.
namespace stub
{

/// The menu from now on, main menu and sub-menu alike: `items` items of `characters` characters each.
void setMenu(int items, int characters);

/// The items of that menu, as the library hands them out.
const MDSVStkMenuItem *menuItems();
int menuSize();
const uint16_t *menuTitle();

} // namespace stub

#endif // BENCH_SDKSTUB_H
