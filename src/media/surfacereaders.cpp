// The media readers as members of the surface manager: forwards to mediareaders.
#include "media/mediareaders.h"
#include "media/surface.h"

roa *surface::AVIReadOpen(const char *path) { return mediareaders::AVIReadOpen(path); }
bool surface::AVIRead(roa *r, int ms) { return mediareaders::AVIRead(r, ms); }
uint8_t *surface::AVIReadAudioSecond(roa *r, int ms) { return mediareaders::AVIReadAudioSecond(r, ms); }
bool surface::AVIReadClose(roa *r) { return mediareaders::AVIReadClose(r); }

rwav *surface::WaveFileReadOpen(const char *path) { return mediareaders::WaveFileReadOpen(path); }
uint8_t *surface::WaveFileRead(rwav *r, int ms) { return mediareaders::WaveFileRead(r, ms); }
void surface::WaveFileReadClose(rwav *r) { mediareaders::WaveFileReadClose(r); }

mmstream *surface::StreamOpenRead(const char *path) { return mediareaders::StreamOpenRead(path); }
KORSurface *surface::StreamReadVideoSample(mmstream *m, int ms) {
  return mediareaders::StreamReadVideoSample(m, ms);
}
uint8_t *surface::StreamReadAudioSample(mmstream *m, int ms) {
  return mediareaders::StreamReadAudioSample(m, ms);
}
void surface::StreamCloseRead(mmstream *m) { mediareaders::StreamCloseRead(m); }
