#include "core/WsSound.h"

#include "core/SoundOutput.h"
#include "core/WaveFile.h"

#include <QtCore/QTimer>
#include <QtCore/QtDebug>

namespace
{

/// Milliseconds that a sound server gets to take a very short sound, and to say that the last of a sound is out.
const int patienceAtStart = 300;
const int patienceAtEnd = 2000;

/// One warning is enough: without a server every sound would bring it again.
void warnOfSilence(const QString &file)
{
    static bool said = false;
    if (!said) {
        qWarning("WsSound: \"%s\" is not heard: no sound server has taken it. Its end is reported after its length "
                 "nevertheless, and so is that of every other sound; this is said once.",
                 qPrintable(file));
    }
    said = true;
}

} // namespace

/// Two clocks end a sound: the output, which knows when the last of it is out, and a timer, which has the last word.
class WsSoundPrivate : public QObject
{
    Q_OBJECT

public:
    WsSoundPrivate(WsSound *sound, const QString &path) : q(sound), file(path), length(0), output(0), limit(this)
    {
        limit.setSingleShot(true);
#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)
        limit.setTimerType(Qt::PreciseTimer);
#endif
        connect(&limit, SIGNAL(timeout()), this, SLOT(timeIsUp()));
    }

    bool play();
    void stop();

    WsSound *const q;
    const QString file;
    int length;                ///< milliseconds
    core::SoundOutput *output; ///< null: not playing

private slots:
    void outputStarted();
    void outputEnded();
    void timeIsUp();

private:
    QTimer limit;
};

bool WsSoundPrivate::play()
{
    stop();
    QString error;
    core::WaveFile wave;
    if (!core::readWaveFile(file, &wave, &error)) {
        qWarning("WsSound: \"%s\" cannot be played: %s", qPrintable(file), qPrintable(error));
        return false;
    }
    length = wave.milliseconds;
    output = new core::SoundOutput(file, wave.bytes, this);
    connect(output, SIGNAL(started()), this, SLOT(outputStarted()));
    // Queued: the output is deleted by what follows.
    connect(output, SIGNAL(ended()), this, SLOT(outputEnded()), Qt::QueuedConnection);
    limit.start(qMax(length, patienceAtStart));
    output->start();
    return true;
}

void WsSoundPrivate::stop()
{
    limit.stop();
    delete output;
    output = 0;
}

void WsSoundPrivate::outputStarted()
{
    limit.start(length + patienceAtEnd);
}

/// A queued end of an earlier output finds it gone, or another one in its place that is not at its end.
void WsSoundPrivate::outputEnded()
{
    if (output && output->hasEnded()) {
        limit.start(0);
    }
}

void WsSoundPrivate::timeIsUp()
{
    if (!output->hasStarted()) {
        warnOfSilence(file);
    }
    stop();
    emit q->finished(); // the last deed: the player may be gone behind it
}

WsSound::WsSound(QString file) : d(new WsSoundPrivate(this, file)) {}

WsSound::~WsSound()
{
    delete d;
}

bool WsSound::Play()
{
    return d->play();
}

void WsSound::Stop()
{
    d->stop();
}

bool WsSound::IsPlaying()
{
    return d->output != 0;
}

#include "WsSound.moc"
