#include "qml/qmlnetwork_p.h"

#include <QQmlEngineExtensionPlugin>

/// In the source that qmltyperegistrar makes.
void qml_register_types_Vox();

/// Lets the engine load what the module registers.
class VoxQmlPlugin : public QQmlEngineExtensionPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlEngineExtensionInterface_iid)

public:
    explicit VoxQmlPlugin(QObject *parent = nullptr)
        : QQmlEngineExtensionPlugin(parent)
    {
        // The registration is done by a static object of that source, which has to be linked.
        volatile auto registration = &qml_register_types_Vox;
        Q_UNUSED(registration)
        // Else Qt 5 reads properties of these types as bare numbers.
        qRegisterMetaType<QmlNetwork::Line>();
        qRegisterMetaType<QmlNode::Presence>();
    }
};

#include "voxqmlplugin.moc"
