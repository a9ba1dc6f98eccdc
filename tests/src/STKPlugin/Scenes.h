#ifndef TESTS_SCENES_H
#define TESTS_SCENES_H

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <functional>

/// The scenes whose traces stand in tests/data/golden: for each unit every operation, its success and each of its
/// failures. A scene prepares its stage, clears the trace, acts, and returns what the operation did, or nothing.
///
/// What cannot be played: an allocation that fails, for which `new` throws instead of answering null.
template <class Stage>
struct Scene {
    QString name;
    std::function<QVariant(Stage &)> act;
};

/// Plays each scene on a stage of its own; their traces under "[name]".
template <class Stage>
QStringList played(const QList<Scene<Stage>> &scenes)
{
    QStringList text;
    for (const Scene<Stage> &scene : scenes) {
        Stage stage;
        const QVariant result = scene.act(stage);
        if (result.isValid())
            stage.trace.result(result);
        text << '[' + scene.name + ']' << stage.trace.lines() << stage.end() << QString();
    }
    return text;
}

QStringList logicTraces();
QStringList threadTraces();
QStringList dialogTraces();
QStringList commandTraces();
QStringList inputDialogTraces();
QStringList pluginTraces();
QStringList sessionTrace();
QStringList metaObjects();

#endif // TESTS_SCENES_H
