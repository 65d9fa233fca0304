#include "VarParser.h"

#include <QDebug>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <cstdio>
#include <memory>

namespace {

// The catalogue's storage. Replaced catalogues are kept alive in the graveyard so that
// pointers handed out earlier stay valid for the life of the process.
struct Catalogue {
    std::vector<std::unique_ptr<VarParser::VarDes>> records;
    std::vector<std::unique_ptr<VarParser::VarGroup>> groups;
    QVector<VarParser::VarDes*> flat;
    QVector<VarParser::VarGroup*> groupList;
};

std::unique_ptr<Catalogue> g_current;
std::vector<std::unique_ptr<Catalogue>> g_retired;
VarParser* g_instance = nullptr;

const int kMetaTypeId = qRegisterMetaType<VarParser::VarDes>("VarParser::VarDes");

QString textOf(const QJsonObject& object, const char* key) {
    const QJsonValue v = object.value(QLatin1String(key));
    return v.isString() ? v.toString() : QString();
}

int intOf(const QJsonObject& object, const char* key) {
    const QJsonValue v = object.value(QLatin1String(key));
    return v.isDouble() ? v.toInt() : 0;
}

// Eight bytes is the widest value a sample holds; a larger or negative size cannot be sampled.
constexpr double kMaxSize = 8;

// A "size" that is a number outside 0..8 (or not a whole number) would give a sample block whose
// length disagrees with what the server sends.
bool sizeUsable(const QJsonObject& object, QString& text) {
    const QJsonValue v = object.value(QLatin1String("size"));
    if (!v.isDouble())
        return true;
    const double size = v.toDouble();
    text = QString::number(size, 'g', 17);
    return size >= 0 && size <= kMaxSize && size == static_cast<int>(size);
}

std::unique_ptr<Catalogue> readCatalogue(const QJsonDocument& doc) {
    auto cat = std::make_unique<Catalogue>();
    // A top-level object reads as an empty array: an empty catalogue.
    const QJsonArray groups = doc.array();
    for (const QJsonValue& g : groups) {
        if (!g.isObject())
            continue;
        const QJsonObject groupObject = g.toObject();
        auto group = std::make_unique<VarParser::VarGroup>();
        group->name = textOf(groupObject, "name");
        for (const QJsonValue& v : groupObject.value(QLatin1String("dataList")).toArray()) {
            if (!v.isObject())
                continue;
            const QJsonObject o = v.toObject();
            QString sizeText;
            if (!sizeUsable(o, sizeText)) {
                std::printf("LOG>>elf.json: variable '%s' has size %s; only 0 to 8 bytes can be sampled, "
                            "so it is left out\n",
                            qPrintable(textOf(o, "name")), qPrintable(sizeText));
                std::fflush(stdout);
                continue;
            }
            auto des = std::make_unique<VarParser::VarDes>();
            des->name = textOf(o, "name");
            des->address = textOf(o, "address");
            des->scope = textOf(o, "scope");
            des->size = intOf(o, "size");
            des->type = textOf(o, "type");
            des->key = intOf(o, "key");
            des->encoding = textOf(o, "encoding");
            cat->flat.append(des.get());
            group->vars.append(des.get());
            cat->records.push_back(std::move(des));
        }
        cat->groupList.append(group.get());
        cat->groups.push_back(std::move(group));
    }
    return cat;
}

} // namespace

VarParser::VarParser(QObject* parent) : QObject(parent) {
    (void)kMetaTypeId;
}

void VarParser::Parse(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::printf("Can't Open json\n");
        std::fflush(stdout);
        return;
    }
    const QByteArray bytes = file.readAll();
    file.close();
    ParseText(bytes);
}

void VarParser::ParseText(const QByteArray& bytes) {
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        qCDebug(QLoggingCategory("default")) << "Open Json Fail";
        return;
    }
    std::unique_ptr<Catalogue> fresh = readCatalogue(doc);
    if (!g_current) {
        g_current = std::move(fresh);
        emit VarListCreate();
        return;
    }
    if (!IsDifferent(fresh->flat)) {
        // The current records keep the user's ticks; the new ones are dropped.
        emit VarListWithoutChange();
        return;
    }
    g_retired.push_back(std::move(g_current));
    g_current = std::move(fresh);
    emit VarListChanged();
}

QVector<VarParser::VarDes*> VarParser::VarList() {
    return g_current ? g_current->flat : QVector<VarDes*>();
}

QVector<VarParser::VarGroup*> VarParser::GroupList() {
    return g_current ? g_current->groupList : QVector<VarGroup*>();
}

bool VarParser::IsDifferent(const QVector<VarDes*>& list) {
    const QVector<VarDes*> current = VarList();
    if (list.size() != current.size())
        return true;
    for (int i = 0; i < list.size(); ++i) {
        const VarDes* a = list[i];
        const VarDes* b = current[i];
        if (a->name != b->name || a->address != b->address || a->type != b->type)
            return true;
    }
    return false;
}

QString VarParser::FileOf(const VarDes* des) {
    const auto search = [des](const Catalogue* cat) -> const VarGroup* {
        for (const VarGroup* group : cat->groupList)
            if (group->vars.contains(const_cast<VarDes*>(des)))
                return group;
        return nullptr;
    };
    if (const VarGroup* group = g_current ? search(g_current.get()) : nullptr)
        return group->name;
    for (auto it = g_retired.rbegin(); it != g_retired.rend(); ++it)
        if (const VarGroup* group = search(it->get()))
            return group->name;
    return QString();
}

void VarParser::SetInstance(VarParser* parser) {
    g_instance = parser;
}

VarParser* VarParser::Instance() {
    return g_instance;
}

void VarParser::ResetForTests() {
    g_current.reset();
    g_retired.clear();
    g_instance = nullptr;
}
