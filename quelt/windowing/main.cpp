#include <quelt/windowing/main.h>

#include <quelt/platform/win32.h>

extern "C" {

void ctl_main(void) {
  MSG msg;
  while (GetMessageW(&msg, nullptr, 0, 0)) {
    TranslateMessage(&msg);
    DispatchMessageW(&msg);
  }
}

void ctl_main_quit(void) { PostQuitMessage(0); }

void ctl_main_onidle(ctl_idle_proc idle) {
  if (!idle) return;
  MSG msg;
  for (;;) {
    if (!PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE)) {
      idle();  // only ever on an empty queue, and again at once while it stays empty
      continue;
    }
    if (GetMessageW(&msg, nullptr, 0, 0)) {
      TranslateMessage(&msg);
      DispatchMessageW(&msg);
    }
    if (msg.message == WM_QUIT) return;
  }
}

int32_t ctl_do_events(void) {
  int32_t count = 0;
  MSG msg;
  while (PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE)) {
    if (msg.message == WM_QUIT) ++count;
    if (GetMessageW(&msg, nullptr, 0, 0)) {
      TranslateMessage(&msg);
      DispatchMessageW(&msg);
    }
  }
  // The drain took the quit message out of the queue: put it back for the loop outside.
  if (count != 0) PostQuitMessage(0);
  return count;
}

}  // extern "C"
