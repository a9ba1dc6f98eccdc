#ifndef WSSOUND_H
#define WSSOUND_H

#include <QtCore/QObject>
#include <QtCore/QString>

class WsSoundPrivate;

/// Plays one sound file. User-interface thread, with an event loop.
///
/// A sound always comes to its end: where nothing can be heard, because no sound server is there, the end is reported
/// after the file's length all the same.
class WsSound : public QObject
{
    Q_OBJECT

public:
    /// \param file path of a wave file; it is opened by Play()
    explicit WsSound(QString file);

    /// Ends the sound; finished() is not emitted.
    virtual ~WsSound();

    /// Starts the sound, from its beginning when it is playing already. False with a warning when the file is missing
    /// or no wave file that can be decoded; finished() is then not emitted.
    bool Play();

    /// Ends the sound. finished() is not emitted.
    void Stop();

    /// True from Play() to Stop() or finished(); in a slot of finished() it is false.
    bool IsPlaying();

signals:
    /// The file has been played to its end: once for each Play() that nothing has cut short. The player may be deleted
    /// from a slot of this signal.
    void finished();

private:
    Q_DISABLE_COPY(WsSound)
    WsSoundPrivate *d;
};

#endif // WSSOUND_H
