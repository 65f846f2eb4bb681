// Behaviour of the item classes that hold more than an ID.
#include "core/uiitems.h"

#include <cstring>

#include "core/commandline.h"

bool UIItemPrefs::Command(const char *command, char *result) {
  const auto args = SplitCommandLine(command, 64);
  if (result) result[0] = 0;
  if (args.size() == 1 && args[0] == "GetType" && result) {
    std::strcpy(result, "UIItemPrefs");
    return true;
  }
  if (args.size() == 2 && args[0] == "Get" && result) {
    GetDatasetValue("prefs", args[1].c_str(), result, UIITEM_RESULT_SIZE);
    return true;
  }
  if (args.size() == 3 && args[0] == "Set") return SetDatasetValue("prefs", args[1].c_str(), args[2].c_str()) != 0;
  return UIItem::Command(command, result);
}

bool UIItemSlider::UISetMinCurMax(double min, double cur, double max) {
  minimum = min;
  maximum = max;
  return UISetValue(cur);
}

bool UIItemSlider::UISetValue(double v) {
  value = v > maximum ? maximum : v < minimum ? minimum : v;
  return true;
}
