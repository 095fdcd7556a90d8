#include "filter/FilterTree.h"

#include "filter/FilterExpression.h"
#include "filter/FilterImport.h"
#include "quotes/QuoteStore.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

namespace marlindex {

namespace fs = std::filesystem;

namespace {

// The number after an item key's letter (W5 gives 5).
long long KeyNumber(std::string_view key) {
    long long number = 0;
    std::from_chars(key.data() + 1, key.data() + key.size(), number);
    return number;
}

} // namespace

// ---- the tree control ----

const FilterTreeCategory* FilterTreeView::FindCategory(std::string_view key) const {
    const auto found = std::find_if(categories.begin(), categories.end(),
                                    [&](const FilterTreeCategory& c) { return c.key == key; });
    return found == categories.end() ? nullptr : &*found;
}

FilterTreeCategory* FilterTreeView::FindCategory(std::string_view key) {
    return const_cast<FilterTreeCategory*>(std::as_const(*this).FindCategory(key));
}

FilterTreeItem* FilterTreeView::FindItem(std::string_view key, FilterTreeCategory** category) {
    // An item's key is longer than its category's one letter.
    if (key.size() < 2) {
        return nullptr;
    }
    FilterTreeCategory* parent = FindCategory(key.substr(0, 1));
    if (parent == nullptr) {
        return nullptr;
    }
    const auto found = std::find_if(parent->items.begin(), parent->items.end(),
                                    [&](const FilterTreeItem& item) { return item.key == key; });
    if (found == parent->items.end()) {
        return nullptr;
    }
    if (category != nullptr) {
        *category = parent;
    }
    return &*found;
}

const FilterTreeItem* FilterTreeView::FindItem(std::string_view key) const {
    return const_cast<FilterTreeView&>(*this).FindItem(key);
}

// ---- the dialog's life ----

FilterTree::FilterTree(fs::path databaseFolder) : databaseFolder_(std::move(databaseFolder)) {}

FilterLoadResult FilterTree::Form_Load(UserPrompts& prompts) {
    ClearTree();
    filterExpression_.clear();

    // Without a database there is no file to read and nowhere to write a new one: the load
    // ends quietly rather than ask a question whose answer cannot be carried out.
    std::error_code error;
    if (databaseFolder_.empty() || !fs::is_directory(databaseFolder_, error)) {
        Publish(false);
        return FilterLoadResult::NoDatabase;
    }

    const fs::path file = FilterFilePath(databaseFolder_);
    FilterFileContents contents;
    bool recreated = false;
    bool created = false;
    // A database the program has not worked with yet has no filter file: that is no error.
    if (!fs::exists(file, error) && !error) {
        if (const auto written = RecreateFilterFile(databaseFolder_, false); !written) {
            prompts.Inform(std::string(kConfigurationErrorTitle),
                           "The filter file could not be created.\r\n" +
                               written.problem().Message(),
                           PromptIcon::Exclamation);
            Publish(false);
            return FilterLoadResult::NotRecreated;
        }
        created = true;
        loadNote_ = "There was no filter file in " + databaseFolder_.string() +
                    "; one with the default lists was created.";
    }
    for (;;) {
        Result<FilterFileContents> read = ReadFilterFile(file);
        if (read) {
            contents = std::move(read).value();
            break;
        }
        if (recreated || created) {
            // The file just written does not read back; asking again would never end.
            prompts.Inform(std::string(kConfigurationErrorTitle),
                           "The re-created configuration file cannot be read.\r\n" +
                               read.problem().Message(),
                           PromptIcon::Exclamation);
            Publish(false);
            return FilterLoadResult::NotRecreated;
        }
        const bool backup = prompts.AskYesNo(std::string(kConfigurationErrorTitle),
                                             ConfigurationErrorText(file, read.problem().Message()),
                                             PromptIcon::Critical);
        const Result<std::optional<fs::path>> written = RecreateFilterFile(databaseFolder_, backup);
        if (!written) {
            prompts.Inform(std::string(kConfigurationErrorTitle),
                           std::string("The configuration file could not be re-created; the old "
                                       "file is left as it was.\r\n") +
                               written.problem().Message(),
                           PromptIcon::Exclamation);
            Publish(false);
            return FilterLoadResult::NotRecreated;
        }
        if (written->has_value()) {
            loadNote_ = "The damaged filter file was kept as " + Utf8Path(**written) + ".";
        }
        recreated = true;
    }

    BuildTree(contents);
    filterExpression_ = BuildFilterExpression(contents, ExpressionForm::Load);
    loaded_ = true;
    Publish(false);
    return recreated ? FilterLoadResult::Recreated
           : created ? FilterLoadResult::Created
                     : FilterLoadResult::Loaded;
}

std::string FilterTree::ConfigurationErrorText(const fs::path& file, const std::string& problem) {
    return "There was an error with the configuration file \"" + file.filename().string() +
           "\" in the folder " + file.parent_path().string() + ". It will be re-created.\r\n" +
           "Would you like to backup your old file?\r\n\r\nWhat is wrong: " + problem;
}

void FilterTree::Form_Unload() {
    ClearTree();
}

bool FilterTree::SaveData(UserPrompts& prompts) {
    // An empty tree would write an empty file over the user's lists.
    if (!loaded_) {
        return true;
    }
    if (const Result<void> written =
            WriteFilterFile(FilterFilePath(databaseFolder_), TreeContents());
        !written) {
        prompts.Inform("File save", "The filter was not saved.\r\n" + written.problem().Message(),
                       PromptIcon::Exclamation);
        return false;
    }
    FilterExpressionBuilder builder(ExpressionForm::SaveData);
    for (std::size_t category = 0; category < TreeView1.categories.size(); ++category) {
        for (const FilterTreeItem& item : TreeView1.categories[category].items) {
            builder.Add(category, item.image, item.text, std::string_view(item.key).substr(1));
        }
    }
    filterExpression_ = builder.Build();
    Publish(true);
    return true;
}

FilterLoadResult FilterTree::ChangeDatabase(fs::path databaseFolder, UserPrompts& prompts) {
    SaveData(prompts);
    databaseFolder_ = std::move(databaseFolder);
    return Form_Load(prompts);
}

void FilterTree::ClearTree() {
    TreeView1 = FilterTreeView{};
    currentNode_.clear();
    mouseButton_ = 0;
    loaded_ = false;
}

void FilterTree::BuildTree(const FilterFileContents& contents) {
    TreeView1.hasRoot = true;
    TreeView1.rootExpanded = true;
    for (std::size_t category = 0; category < kFilterCategoryCount; ++category) {
        const FilterCategoryInfo& info = kFilterCategories[category];
        FilterTreeCategory node{std::string(1, info.key), std::string(info.text), false, {}};
        for (std::size_t position = 0; position < contents[category].size(); ++position) {
            const FilterFileItem& item = contents[category][position];
            node.items.push_back({node.key + std::to_string(position), item.name, item.mark});
        }
        TreeView1.categories.push_back(std::move(node));
    }
}

FilterFileContents FilterTree::TreeContents() const {
    FilterFileContents contents;
    for (std::size_t category = 0; category < TreeView1.categories.size(); ++category) {
        for (const FilterTreeItem& item : TreeView1.categories[category].items) {
            contents[category].push_back({item.image, item.text});
        }
    }
    return contents;
}

void FilterTree::Publish(bool chosen) {
    if (listener_) {
        listener_(filterExpression_, chosen);
    }
}

bool FilterTree::btnOK_Click(UserPrompts& prompts) {
    return SaveData(prompts);
}

bool FilterTree::btnImport_Click(UserPrompts& prompts) {
    const std::string title = "Import lists";
    if (!loaded_) {
        prompts.Inform(title,
                       "There is no filter to import lists into: the database folder \"" +
                           Utf8Path(databaseFolder_) + "\" has no filter file that could be read.",
                       PromptIcon::Exclamation);
        return false;
    }
    std::vector<SymbolInfo> symbols;
    std::array<std::string, kWatchListCount> names;
    const Result<void> read = CatchProblem([&] {
        const QuoteStore store = ValueOrThrow(QuoteStore::Open(databaseFolder_));
        symbols = store.Symbols();
        names = store.WatchListNames();
    });
    if (!read) {
        prompts.Inform(title,
                       "The lists cannot be imported: " + read.problem().Message() +
                           "\r\nImport quotes into the database first (File, Import quotes...).",
                       PromptIcon::Exclamation);
        return false;
    }
    const FilterImport import = ImportFilterLists(TreeContents(), symbols, names);
    if (import.Unchanged()) {
        prompts.Inform(title, "The filter's lists already are those of the database.",
                       PromptIcon::Information);
        return false;
    }
    if (!prompts.AskYesNo(title, FilterImportQuestion(import), PromptIcon::Question)) {
        return false;
    }
    // The items take the keys a load of the file would give them: their positions.
    for (std::size_t category = 0; category < kFilterCategoryCount; ++category) {
        FilterTreeCategory& node = TreeView1.categories[category];
        node.items.clear();
        const auto& items = import.contents[category];
        for (std::size_t position = 0; position < items.size(); ++position) {
            node.items.push_back(
                {node.key + std::to_string(position), items[position].name, items[position].mark});
        }
    }
    TreeView1.selectedKey.clear();
    TreeView1.editingKey.clear();
    currentNode_.clear();
    return true;
}

// ---- the tree's events ----

void FilterTree::SetExpanded(const std::string& key, bool expanded) {
    if (key == kRootKey) {
        TreeView1.rootExpanded = expanded;
    } else if (FilterTreeCategory* category = TreeView1.FindCategory(key)) {
        category->expanded = expanded;
    }
}

FilterTreeCategory* FilterTree::CategoryOf(const std::string& key) {
    if (FilterTreeCategory* category = TreeView1.FindCategory(key)) {
        return category;
    }
    FilterTreeCategory* parent = nullptr;
    TreeView1.FindItem(key, &parent);
    return parent;
}

bool FilterTree::TreeView1_MouseUp(int button, const std::string& key) {
    if (button == 1) {
        mouseButton_ = 1;
        return false;
    }
    const bool isRoot = TreeView1.hasRoot && key == kRootKey;
    const FilterTreeCategory* category = CategoryOf(key);
    if (!isRoot && category == nullptr) {
        return false; // no node under the pointer
    }
    TreeView1.selectedKey = key;
    currentNode_ = key;
    if (category == nullptr) {
        return false; // the root has no menu
    }
    // Watch lists are AmiBroker's 64, identified by position: none can be added or removed.
    const bool watchlist = category->key == "W";
    mAdd.enabled = !watchlist;
    mDelete.enabled = !watchlist;
    mouseButton_ = 2;
    return true;
}

void FilterTree::TreeView1_NodeClick(const std::string& key) {
    if (mouseButton_ != 1) {
        return;
    }
    FilterTreeItem* item = TreeView1.FindItem(key);
    if (item == nullptr) {
        return; // the root and the categories carry no mark
    }
    TreeView1.selectedKey = key;
    item->image = item->image == kIncluded   ? kExcluded
                  : item->image == kExcluded ? kUnmarked
                                             : kIncluded;
}

void FilterTree::TreeView1_AfterLabelEdit(bool cancel, const std::string& newText,
                                          UserPrompts& prompts) {
    FilterTreeItem* item = TreeView1.FindItem(TreeView1.editingKey);
    TreeView1.editingKey.clear();
    if (item == nullptr || cancel || newText.empty()) {
        return;
    }
    if (const std::optional<FilterNameFault> fault = CheckFilterName(newText)) {
        prompts.Inform(std::string(kCaption),
                       "The name " + QuoteExcerpt(newText) + " cannot be used: it holds " +
                           fault->what + ". \"" + item->text + "\" keeps its name.",
                       PromptIcon::Information);
        return;
    }
    item->text = newText;
}

// ---- the context menu ----

void FilterTree::mAdd_Click() {
    FilterTreeCategory* category = CategoryOf(currentNode_);
    if (!mAdd.enabled || category == nullptr) {
        return;
    }
    // Keys are never reused while the dialog is loaded: after a delete the next number still
    // follows the last item.
    const long long number =
        category->items.empty() ? 0 : KeyNumber(category->items.back().key) + 1;
    const std::string key = category->key + std::to_string(number);
    category->items.push_back({key, "New " + category->text, kUnmarked});
    TreeView1.rootExpanded = true;
    category->expanded = true;
    TreeView1.selectedKey = key;
    TreeView1.editingKey = key;
}

void FilterTree::mDelete_Click(UserPrompts& prompts) {
    FilterTreeCategory* category = nullptr;
    const FilterTreeItem* chosen = TreeView1.FindItem(currentNode_, &category);
    if (!mDelete.enabled || chosen == nullptr ||
        !prompts.AskYesNo(std::string(kCaption),
                          "Delete \"" + chosen->text + "\" from " + category->text +
                              "?\r\nThe filter file changes when you press OK; Cancel keeps it.",
                          PromptIcon::Question)) {
        return;
    }
    auto& items = category->items;
    const auto position = std::find_if(items.begin(), items.end(), [&](const FilterTreeItem& item) {
        return item.key == currentNode_;
    });
    const auto next = items.erase(position);
    // The item that took its place, else the one before it, else the category itself.
    const std::string neighbour = next != items.end() ? next->key
                                  : items.empty()     ? category->key
                                                      : items.back().key;
    TreeView1.selectedKey = neighbour;
    currentNode_ = neighbour;
}

void FilterTree::mEdit_Click() {
    if (TreeView1.FindItem(currentNode_) == nullptr) {
        return;
    }
    TreeView1.selectedKey = currentNode_;
    TreeView1.editingKey = currentNode_;
}

void FilterTree::mUncheckAll_Click() {
    for (FilterTreeCategory& category : TreeView1.categories) {
        for (FilterTreeItem& item : category.items) {
            item.image = kUnmarked;
        }
    }
}

} // namespace marlindex
