#include "core/SoundOutput.h"

#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)
#include <QSoundEffect>
#include <QtCore/QUrl>
#else
#include <QSound>
#endif

namespace core
{

#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)

/// The sound effect gets the bytes, not the file: it reads on its own thread, its end waits for that thread, and the
/// thread waits for ever when the file is cut off meanwhile or has chunks that it does not understand.
SoundOutput::SoundOutput(const QString &, const QByteArray &wave, QObject *parent)
    : QObject(parent), m_sound(new QSoundEffect(this)), m_started(false), m_ended(false)
{
    connect(m_sound, SIGNAL(statusChanged()), this, SLOT(look()));
    connect(m_sound, SIGNAL(playingChanged()), this, SLOT(look()));
    m_sound->setSource(QUrl("data:audio/wav;base64," + QString::fromLatin1(wave.toBase64()), QUrl::StrictMode));
}

SoundOutput::~SoundOutput()
{
    m_sound->disconnect(this); // it falls silent, which is no end of the sound
}

void SoundOutput::start()
{
    m_sound->play();
    look();
}

/// A sound effect is ready when its server has taken it, and says that it plays already before that.
void SoundOutput::look()
{
    if (!m_started && m_sound->status() == QSoundEffect::Ready && m_sound->isPlaying()) {
        m_started = true;
        emit started();
    } else if (m_started && !m_ended && !m_sound->isPlaying()) {
        m_ended = true;
        emit ended();
    }
}

#else

SoundOutput::SoundOutput(const QString &file, const QByteArray &, QObject *parent)
    : QObject(parent), m_sound(new QSound(file, this)), m_started(false), m_ended(false)
{
}

SoundOutput::~SoundOutput()
{
    m_sound->stop();
}

/// It tells nothing of its progress, so started() is not emitted: its end is the file's length from now.
void SoundOutput::start()
{
    m_started = QSound::isAvailable();
    m_sound->play();
}

void SoundOutput::look() {}

#endif

} // namespace core
