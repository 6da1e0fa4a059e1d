#include <quelt/windowing/button.h>

extern "C" void ctl_button_draw(void) {}
