#include "core/WsSound.h"

#include <QtCore/QtDebug>

class WsSoundPrivate
{
public:
    explicit WsSoundPrivate(const QString &path) : file(path) {}

    const QString file;
};

WsSound::WsSound(QString file) : d(new WsSoundPrivate(file)) {}

WsSound::~WsSound()
{
    delete d;
}

/// There is no audio output in this build, and a sound that nobody hears is not reported as playing.
bool WsSound::Play()
{
    qWarning("WsSound: \"%s\" is not played: this build has no sound", qPrintable(d->file));
    return false;
}

void WsSound::Stop() {}

bool WsSound::IsPlaying()
{
    return false;
}
