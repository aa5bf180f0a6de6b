#include <KConfig>
#include <KConfigGroup>

#include "Peers.h"

namespace bench {

namespace {

struct Setter {
    KConfigGroup group;
    const char* key;

    void operator()(const std::string& text) {
        group.writeEntry(key, QString::fromStdString(text));
    }
    void operator()(const std::vector<int>& numbers) {
        group.writeEntry(key, QList<int>(numbers.begin(), numbers.end()));
    }
    template <class T>
    void operator()(T scalar) {
        group.writeEntry(key, scalar);
    }
};

std::vector<int> arrayOf(const KConfigGroup& group, const char* key) {
    const QList<int> numbers = group.readEntry(key, QList<int>());
    return std::vector<int>(numbers.begin(), numbers.end());
}

class KConfigStore : public Store {
public:
    using Store::Store;

    void open(const std::string& path) override {
        file_ = std::make_unique<KConfig>(QString::fromStdString(path), KConfig::SimpleConfig);
    }

    Value get(std::size_t position) const override {
        const KConfigGroup group =
            static_cast<const KConfig&>(*file_).group(names_[position].section);
        const char* const key = names_[position].key.c_str();
        switch (kindOf(position)) {
            case 0:
                return group.readEntry(key, 0);
            case 1:
                return group.readEntry(key, false);
            case 2:
                return group.readEntry(key, 0.0);
            case 3:
                return group.readEntry(key, QString()).toStdString();
            default:
                return arrayOf(group, key);
        }
    }

    void set(std::size_t position, const Value& value) override {
        const Name& name = names_[position];
        Setter setter{file_->group(name.section), name.key.c_str()};
        std::visit(setter, value);
    }

    // Writes through a file of its own that it syncs and renames, durable or not.
    void save(Durability) override {
        if (!file_->sync()) throw std::runtime_error("KConfig cannot save");
    }

protected:
    void prepareName(const Setting& setting) override {
        names_.push_back({QByteArray::fromStdString(setting.section), setting.key});
    }

private:
    struct Name {
        QByteArray section;
        std::string key;
    };

    std::vector<Name> names_;
    std::unique_ptr<KConfig> file_;
};

}  // namespace

std::unique_ptr<Store> makeKConfig(const Settings& settings, const std::string&) {
    return std::make_unique<KConfigStore>(settings);
}

}  // namespace bench
