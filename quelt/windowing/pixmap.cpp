#include <quelt/windowing/pixmap.h>

#include <quelt/base/trace.h>
#include <quelt/platform/win32.h>

#include <cstring>

extern "C" {

int32_t ctl_pixmap_create(ctl_pixmap_rec* pixmap, int32_t width, int32_t height) {
  std::memset(pixmap, 0, sizeof *pixmap);
  pixmap->dc = CreateCompatibleDC(nullptr);
  if (!pixmap->dc) return QUELT_FAILED("CreateCompatibleDC");
  // A top-down 32-bit bitmap: row 0 on top and rows of width × 4 bytes, as a surface has them.
  BITMAPINFO info;
  std::memset(&info, 0, sizeof info);
  info.bmiHeader.biSize = 40;
  info.bmiHeader.biWidth = width;
  info.bmiHeader.biHeight = -height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  info.bmiHeader.biCompression = BI_RGB;
  info.bmiHeader.biSizeImage = static_cast<DWORD>(static_cast<uint32_t>(width) * 4u * static_cast<uint32_t>(height));
  pixmap->surface.width = width;
  pixmap->surface.height = height;
  pixmap->surface.bytes_per_pixel = 4;
  void* bits = nullptr;
  HBITMAP bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  pixmap->surface.pixels = static_cast<uint8_t*>(bits);
  if (!bitmap) {
    DeleteDC(pixmap->dc);
    return QUELT_FAILED("CreateDIBSection");
  }
  SelectObject(pixmap->dc, bitmap);
  return 1;
}

void ctl_pixmap_release(ctl_pixmap_rec* pixmap) {
  if (GetObjectType(pixmap->dc) == 0) return;
  // The context goes first: that lets go of the bitmap, which can then be deleted. A bitmap
  // still selected into a context would refuse deletion and stay behind.
  HGDIOBJ bitmap = GetCurrentObject(pixmap->dc, OBJ_BITMAP);
  DeleteDC(pixmap->dc);
  DeleteObject(bitmap);
  pixmap->surface.pixels = nullptr;
  sf_release(&pixmap->surface);
  std::memset(pixmap, 0, sizeof *pixmap);
}

}  // extern "C"
