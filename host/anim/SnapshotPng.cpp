// PNG pictures: the SVG drawing rendered by librsvg onto a cairo image
// surface, so that both formats show exactly the same picture.

#include <cairo.h>
#include <librsvg/rsvg.h>

#include <cmath>
#include <memory>

#include "Snapshot.h"

namespace hostdetail {
namespace snapshot {

namespace {

struct SurfaceFree {
  void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};
struct ContextFree {
  void operator()(cairo_t* c) const { cairo_destroy(c); }
};
struct HandleFree {
  void operator()(RsvgHandle* h) const { g_object_unref(h); }
};

cairo_status_t appendBytes(void* closure, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

}  // namespace

bool svgToPng(const std::string& svg, std::string& png, std::string& error) {
  GError* gerror = nullptr;
  std::unique_ptr<RsvgHandle, HandleFree> handle(rsvg_handle_new_from_data(
      reinterpret_cast<const guint8*>(svg.data()), gsize(svg.size()), &gerror));
  if (!handle) {
    error = std::string("the drawing could not be read: ") + (gerror ? gerror->message : "?");
    if (gerror)
      g_error_free(gerror);
    return false;
  }
  double width = 0.0, height = 0.0;
  if (!rsvg_handle_get_intrinsic_size_in_pixels(handle.get(), &width, &height) || width < 1.0 ||
      height < 1.0) {
    error = "the drawing has no size in pixels";
    return false;
  }
  const int w = int(std::ceil(width)), h = int(std::ceil(height));
  std::unique_ptr<cairo_surface_t, SurfaceFree> surface(
      cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h));
  std::unique_ptr<cairo_t, ContextFree> cr(cairo_create(surface.get()));
  if (cairo_status(cr.get()) != CAIRO_STATUS_SUCCESS) {
    error = "no memory for a " + std::to_string(w) + " x " + std::to_string(h) + " picture";
    return false;
  }
  const RsvgRectangle viewport{0.0, 0.0, width, height};
  if (!rsvg_handle_render_document(handle.get(), cr.get(), &viewport, &gerror)) {
    error = std::string("the drawing could not be rendered: ") + (gerror ? gerror->message : "?");
    if (gerror)
      g_error_free(gerror);
    return false;
  }
  cairo_surface_flush(surface.get());
  png.clear();
  if (cairo_surface_write_to_png_stream(surface.get(), appendBytes, &png) != CAIRO_STATUS_SUCCESS) {
    error = "the picture could not be encoded as PNG";
    return false;
  }
  return true;
}

}  // namespace snapshot
}  // namespace hostdetail
