// frect clipping and scaling.
#include "core/frect.h"

#include "core/saturate.h"

int frect::ScaleToUnity(const frect *f, int w, int h, RECT *out) {
  out->left = SaturateToInt(w * f->left);
  out->top = SaturateToInt(h * f->top);
  out->right = SaturateToInt(w * f->right);
  out->bottom = SaturateToInt(h * f->bottom);
  return out->left < out->right && out->top < out->bottom && out->left >= 0 && out->top >= 0 &&
         out->right >= 0 && out->bottom >= 0;
}

int frect::ClipToUnity(frect *a, frect *b) {
  auto fits = [&] { return a->Validate() && a->CheckUnityAnd() && b->Validate() && b->CheckUnityAnd(); };
  if (!fits()) return 0;
  if (a->left < 0) {
    b->left += (-a->left / a->Width()) * b->Width();
    a->left = 0;
  }
  if (a->top < 0) {
    b->top += (-a->top / a->Height()) * b->Height();
    a->top = 0;
  }
  if (!fits()) return 0;
  if (a->right > 1) {
    b->right = b->left + ((1 - a->left) / a->Width()) * b->Width();
    a->right = 1;
  }
  if (a->bottom > 1) {
    b->bottom = b->top + ((1 - a->top) / a->Height()) * b->Height();
    a->bottom = 1;
  }
  return fits();
}

int frect::ClipToUnity() {
  if (left < 0) left = 0;
  if (top < 0) top = 0;
  if (right > 1) right = 1;
  if (bottom > 1) bottom = 1;
  return Validate();
}

int frect::And(const frect &o) {
  if (o.left > left) left = o.left;
  if (o.top > top) top = o.top;
  if (o.right < right) right = o.right;
  if (o.bottom < bottom) bottom = o.bottom;
  return Validate();
}
