#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <filesystem>
#include <sstream>

#include "Peers.h"

namespace bench {

namespace {

using boost::property_tree::ptree;

struct Setter {
    ptree& tree;
    const ptree::path_type& name;

    void operator()(const std::string& text) const { tree.put(name, escaped(text)); }
    void operator()(const std::vector<int>& numbers) const { tree.put(name, joined(numbers, ';')); }
    template <class T>
    void operator()(T scalar) const {
        tree.put(name, scalar);
    }
};

class PropertyTreeStore : public Store {
public:
    using Store::Store;

    void open(const std::string& path) override {
        path_ = path;
        if (std::filesystem::exists(path)) boost::property_tree::read_ini(path, tree_);
    }

    Value get(std::size_t position) const override {
        const ptree::path_type& name = names_[position];
        switch (kindOf(position)) {
            case 0:
                return tree_.get<int>(name);
            case 1:
                return tree_.get<bool>(name);
            case 2:
                return tree_.get<double>(name);
            case 3:
                return unescaped(tree_.get<std::string>(name));
            default:
                return split(tree_.get<std::string>(name).c_str(), ';');
        }
    }

    void set(std::size_t position, const Value& value) override {
        std::visit(Setter{tree_, names_[position]}, value);
    }

    void save(Durability durability) override {
        std::ostringstream text;
        boost::property_tree::write_ini(text, tree_);
        replaceFile(path_, text.str(), durability);
    }

protected:
    void prepareName(const Setting& setting) override {
        names_.emplace_back(setting.fullName, '/');
    }

private:
    std::vector<ptree::path_type> names_;
    ptree tree_;
    std::string path_;
};

}  // namespace

std::unique_ptr<Store> makePropertyTree(const Settings& settings, const std::string&) {
    return std::make_unique<PropertyTreeStore>(settings);
}

}  // namespace bench
