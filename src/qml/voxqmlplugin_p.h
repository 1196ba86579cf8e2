#ifndef VOX_QML_VOXQMLPLUGIN_P_H
#define VOX_QML_VOXQMLPLUGIN_P_H

#include <QQmlEngineExtensionPlugin>

/// Lets the engine load what the module registers.
class VoxQmlPlugin : public QQmlEngineExtensionPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlEngineExtensionInterface_iid)

public:
    explicit VoxQmlPlugin(QObject *parent = nullptr);
};

#endif
