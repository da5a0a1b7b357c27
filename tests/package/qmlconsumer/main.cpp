// Loads a document that imports the installed QML module, as a launcher's interface does.
#include <QCoreApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QUrl>

#include <cstdio>
#include <memory>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: qmlconsumer DOCUMENT.qml\n");
        return 2;
    }
    QQmlEngine engine;
    QQmlComponent component(&engine, QUrl::fromLocalFile(QString::fromLocal8Bit(argv[1])));
    const std::unique_ptr<QObject> object(component.create());
    if (!object) {
        std::fprintf(stderr, "%s\n", qPrintable(component.errorString()));
        return 1;
    }
    std::printf("qmlconsumer: %s on Qt %s\n", object->metaObject()->className(), qVersion());
    return object->inherits("NimblaSDK::AuthManager") ? 0 : 1;
}
