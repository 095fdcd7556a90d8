#include "library/LibraryBrowser.h"

#include "startup/AtomicFile.h"
#include "startup/Codepage.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <set>

namespace marlindex {

namespace {

constexpr const char* kSaveErrorTitle = "Save error";
constexpr const char* kFileManagementTitle = "File management";
constexpr const char* kLibraryTitle = "Formula library";

std::string FolderKey(std::int32_t id) {
    return std::to_string(id) + "X";
}

std::string FormulaKey(std::size_t number) {
    return std::to_string(number) + "Z";
}

bool IsFolderKey(std::string_view key) {
    return !key.empty() && key.back() == 'X';
}

bool IsFormulaKey(std::string_view key) {
    return !key.empty() && key.back() == 'Z';
}

// The number in front of a folder's or formula's key; 0 for any other key.
std::int32_t KeyNumber(std::string_view key) {
    key.remove_suffix(key.empty() ? 0 : 1);
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), value);
    return error == std::errc() && end == key.data() + key.size() ? value : 0;
}

} // namespace

namespace {

// The refusal of a name as the Windows release words it, and for a name that is too long,
// which it never refused, the limit on a line of its own.
std::string WithLengthProblem(std::string message, std::string_view name) {
    if (const std::string length = NameLengthProblem(name); !length.empty()) {
        message += "\r\n" + length;
    }
    return message;
}

bool IsNameCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           (c >= '#' && c <= ')') || c == ' ' || c == '!' || c == '-' || c == '/' || c == '@' ||
           c == '_' || c == '{' || c == '}' || c == '~';
}

} // namespace

bool IsValidFileName(std::string_view name) {
    return NameProblem(name).empty();
}

std::string NameLengthProblem(std::string_view name) {
    const std::size_t length = DecodeText(name).size();
    if (length <= kMaxNameLength) {
        return {};
    }
    return "A name has at most " + std::to_string(kMaxNameLength) + " characters; this one has " +
           std::to_string(length) + ".";
}

std::string NameProblem(std::string_view name) {
    if (name.empty()) {
        return "Type a name.";
    }
    if (std::string length = NameLengthProblem(name); !length.empty()) {
        return length;
    }
    if (name.front() >= '0' && name.front() <= '9') {
        return "A name does not start with a digit.";
    }
    const auto bad = std::find_if_not(name.begin(), name.end(), IsNameCharacter);
    if (bad == name.end()) {
        return {};
    }
    // The whole character, which may take several bytes.
    std::size_t length = 1;
    const auto lead = static_cast<unsigned char>(*bad);
    if (lead >= 0xF0) {
        length = 4;
    } else if (lead >= 0xE0) {
        length = 3;
    } else if (lead >= 0xC0) {
        length = 2;
    }
    const auto at = static_cast<std::size_t>(bad - name.begin());
    const std::string_view character = name.substr(at, length);
    return character == "\t" ? std::string("A name cannot hold a TAB.")
                             : "\"" + std::string(character) + "\" cannot be part of a name.";
}

LibraryBrowser::LibraryBrowser(std::filesystem::path libraryFile, std::string mode,
                               FormulaWindow& window, UserPrompts& prompts)
    : file_(std::move(libraryFile)), mode_(std::move(mode)), window_(&window), prompts_(&prompts) {}

bool LibraryBrowser::Form_Load() {
    Result<LoadedLibrary> load = LoadLibraryFile(file_);
    if (load) {
        library_ = std::move(load->library);
    } else if (load.problem().kind == ProblemKind::Failure) {
        prompts_->Inform(kLibraryTitle, load.problem().Message(), PromptIcon::Exclamation);
        return false;
    } else {
        // The damaged file is never written over: a new library starts only when the user
        // agrees, and the old file is kept under another name first.
        if (!prompts_->AskYesNo(kLibraryTitle,
                                "The formula library cannot be read.\r\n" +
                                    load.problem().Message() +
                                    "\r\n\r\nStart a new library? The damaged file is kept "
                                    "beside it under a new name.",
                                PromptIcon::Exclamation)) {
            return false;
        }
        const auto aside = KeepAside(file_, ".bad");
        if (!aside) {
            prompts_->Inform(kLibraryTitle,
                             "The damaged library could not be moved aside, so no new library "
                             "was started.",
                             PromptIcon::Exclamation);
            return false;
        }
        prompts_->Inform(kLibraryTitle,
                         "The damaged library was kept as " + aside->filename().string() + ".");
        library_ = DefaultLibrary();
    }
    GiveFoldersUniqueIds();
    BuildTree();

    // The formula the window came from, if it is still there, is where the dialog starts.
    const LibraryRecordRef& record = window_->LibraryRecord();
    const LibraryFormula* formula = library_.Formula(record.number);
    if (formula != nullptr && formula->name == record.name && formula->folder == record.folder) {
        TreeView1_NodeClick(FormulaKey(static_cast<std::size_t>(record.number)));
    } else {
        Text1 = window_->ScanName();
    }
    UpdateMenus();
    return true;
}

void LibraryBrowser::GiveFoldersUniqueIds() {
    std::set<std::int32_t> seen;
    for (LibraryFolder& folder : library_.folders) {
        if (!seen.insert(folder.id).second) {
            folder.id = library_.UnusedFolderId();
            seen.insert(folder.id);
        }
    }
}

// ---- tree ----

void LibraryBrowser::BuildTree() {
    std::map<std::string, bool> expanded;
    for (const TreeNode& node : TreeView1.nodes) {
        expanded[node.key] = node.expanded;
    }
    const auto wasExpanded = [&](const std::string& key) {
        const auto it = expanded.find(key);
        return it == expanded.end() || it->second;
    };

    std::vector<TreeNode> nodes;
    nodes.push_back({kRootKey, kRootText, "", TreeImage::Root, true});
    for (const LibraryFolder& folder : library_.folders) {
        const std::string key = FolderKey(folder.id);
        nodes.push_back({key, folder.name, kRootKey, TreeImage::Folder, wasExpanded(key)});
    }
    for (std::size_t i = 0; i < library_.formulas.size(); ++i) {
        const LibraryFormula& formula = library_.formulas[i];
        // A formula whose folder has gone still shows, under the root, so it can be opened
        // or deleted.
        const LibraryFolder* folder = library_.FolderOf(formula);
        nodes.push_back({FormulaKey(i + 1), formula.name,
                         folder != nullptr ? FolderKey(folder->id) : kRootKey, TreeImage::Formula,
                         false});
    }
    TreeView1.nodes = std::move(nodes);
    ++TreeView1.revision;
    if (Node(TreeView1.selected) == nullptr) {
        TreeView1.selected.clear();
    }
}

const TreeNode* LibraryBrowser::Node(const std::string& key) const {
    const auto it = std::find_if(TreeView1.nodes.begin(), TreeView1.nodes.end(),
                                 [&](const TreeNode& node) { return node.key == key; });
    return it == TreeView1.nodes.end() ? nullptr : &*it;
}

const LibraryFolder* LibraryBrowser::FolderOfNode(const std::string& key) const {
    if (Node(key) == nullptr) {
        return nullptr;
    }
    if (IsFolderKey(key)) {
        return library_.FindFolder(KeyNumber(key));
    }
    if (IsFormulaKey(key)) {
        const LibraryFormula* formula = library_.Formula(KeyNumber(key));
        return formula != nullptr ? library_.FolderOf(*formula) : nullptr;
    }
    return nullptr;
}

void LibraryBrowser::Select(const std::string& key) {
    TreeView1.selected = Node(key) != nullptr ? key : std::string();
    UpdateMenus();
}

void LibraryBrowser::UpdateMenus() {
    const std::string& key = TreeView1.selected;
    mDelete.enabled = IsFolderKey(key) || IsFormulaKey(key);
    mRename.enabled = IsFolderKey(key);
    mCopy.enabled = RichTextBox1.selLength > 0;
}

std::string LibraryBrowser::Neighbour(const std::string& key) const {
    const TreeNode* node = Node(key);
    if (node == nullptr) {
        return {};
    }
    std::vector<std::string> siblings;
    for (const TreeNode& other : TreeView1.nodes) {
        if (other.parent == node->parent) {
            siblings.push_back(other.key);
        }
    }
    const auto at = static_cast<std::size_t>(std::find(siblings.begin(), siblings.end(), key) -
                                             siblings.begin());
    if (at + 1 < siblings.size()) {
        return siblings[at + 1];
    }
    return at > 0 ? siblings[at - 1] : node->parent;
}

void LibraryBrowser::TreeView1_NodeClick(const std::string& key) {
    if (Node(key) == nullptr) {
        return;
    }
    Select(key);
    if (IsFormulaKey(key)) {
        if (const LibraryFormula* formula = library_.Formula(KeyNumber(key))) {
            Text1 = formula->name;
            RichTextBox1 = {formula->description, 0, 0};
            UpdateMenus();
        }
    }
}

void LibraryBrowser::TreeView1_Expand(const std::string& key, bool expanded) {
    for (TreeNode& node : TreeView1.nodes) {
        if (node.key == key) {
            node.expanded = expanded;
        }
    }
}

bool LibraryBrowser::TreeView1_BeforeLabelEdit(const std::string& key) const {
    return IsFolderKey(key) && Node(key) != nullptr;
}

bool LibraryBrowser::TreeView1_AfterLabelEdit(const std::string& key, const std::string& text) {
    const LibraryFolder* folder = IsFolderKey(key) ? FolderOfNode(key) : nullptr;
    if (folder == nullptr) {
        return false;
    }
    if (!IsValidFileName(text)) {
        prompts_->Inform("Valid folder name error",
                         WithLengthProblem("You must enter a valid folder name.", text));
        EditingKey = key;
        return false;
    }
    if (text == folder->name) {
        return true;
    }
    const std::int32_t id = folder->id;
    for (LibraryFolder& changed : library_.folders) {
        if (changed.id == id) {
            changed.name = text;
        }
    }
    pending_ = true;
    BuildTree();
    return true;
}

// ---- commands ----

void LibraryBrowser::mAdd_Click() {
    pending_ = true;
    const LibraryFolder& folder = library_.AddFolder();
    const std::string key = FolderKey(folder.id);
    BuildTree();
    Select(key);
    EditingKey = key;
}

void LibraryBrowser::mRename_Click() {
    if (TreeView1_BeforeLabelEdit(TreeView1.selected)) {
        EditingKey = TreeView1.selected;
    }
}

void LibraryBrowser::mDelete_Click() {
    const std::string key = TreeView1.selected;
    const TreeNode* node = Node(key);
    std::string next = Neighbour(key);
    std::string question;
    if (IsFolderKey(key) && node != nullptr) {
        if (library_.FolderHasFormulas(KeyNumber(key))) {
            prompts_->Inform(kFileManagementTitle,
                             "You cannot delete a folder that contains file. Delete the files\r\n"
                             "before continuing");
            return;
        }
        question = "Delete the folder \"" + node->text + "\"?";
    } else if (IsFormulaKey(key) && library_.Formula(KeyNumber(key)) != nullptr) {
        question = "Delete the formula \"" + node->text + "\"?";
    } else {
        return; // the root is never deleted
    }
    std::string ok = btnOK;
    ok.erase(std::remove(ok.begin(), ok.end(), '&'), ok.end());
    if (!prompts_->AskYesNo(kFileManagementTitle,
                            question + "\r\nIt goes from the library when you press " + ok +
                                "; Cancel keeps it.")) {
        return;
    }
    if (IsFolderKey(key)) {
        library_.DeleteFolder(KeyNumber(key));
    } else {
        const std::int32_t deleted = KeyNumber(key);
        library_.DeleteFormula(deleted);
        // The formulas after the deleted one move up a place, and their keys with them.
        if (IsFormulaKey(next) && KeyNumber(next) > deleted) {
            next = FormulaKey(static_cast<std::size_t>(KeyNumber(next) - 1));
        }
    }
    pending_ = true;
    BuildTree();
    Select(next);
}

std::string LibraryBrowser::mCopy_Click() const {
    const std::u32string text = DecodeText(RichTextBox1.text);
    const std::size_t start = std::min(RichTextBox1.selStart, text.size());
    return EncodeUtf8(std::u32string_view(text).substr(start, RichTextBox1.selLength));
}

void LibraryBrowser::mPaste_Click(std::string_view clipboard) {
    std::u32string text = DecodeText(RichTextBox1.text);
    const std::size_t start = std::min(RichTextBox1.selStart, text.size());
    const std::size_t length = std::min(RichTextBox1.selLength, text.size() - start);
    text.replace(start, length, DecodeText(clipboard));
    RichTextBox1 = {EncodeUtf8(text), text.size(), 0};
    UpdateMenus();
}

void LibraryBrowser::RichTextBox1_Change(std::string text) {
    RichTextBox1.text = std::move(text);
}

void LibraryBrowser::RichTextBox1_SelChange(std::size_t start, std::size_t length) {
    RichTextBox1.selStart = start;
    RichTextBox1.selLength = length;
    UpdateMenus();
}

void LibraryBrowser::btnCancel_Click() {
    closed_ = true;
    accepted_ = false;
}

void LibraryBrowser::btnOK_Click() {
    const std::string& key = TreeView1.selected;
    if (mode_ == kModeOpen) {
        if (!IsFormulaKey(key) || library_.Formula(KeyNumber(key)) == nullptr) {
            if (pending_) {
                // Deleting and tidying folders is work of its own: it is kept without opening.
                if (prompts_->AskYesNo(Caption, "No formula is selected to open.\r\nKeep the "
                                                "changes made to the library and close?") &&
                    Commit(library_, kFileManagementTitle)) {
                    closed_ = true;
                }
                return;
            }
            prompts_->Inform(Caption, library_.formulas.empty()
                                          ? "The library holds no formulas to open yet."
                                          : "Select the formula to open in the list, then "
                                            "press Open.");
            return;
        }
        // The deletions and folder changes made in the dialog are written first.
        if (pending_ && !Commit(library_, kFileManagementTitle)) {
            return;
        }
        OpenSelected();
        return;
    }
    if (library_.folders.empty()) {
        prompts_->Inform(kSaveErrorTitle, "You must create a folder before saving file.\r\n"
                                          "Right-click the list on the right and select Create "
                                          "Folder option.");
        return;
    }
    if (!IsFolderKey(key) && !IsFormulaKey(key)) {
        prompts_->Inform(kSaveErrorTitle, "You must select a folder before saving file.");
        return;
    }
    if (!IsValidFileName(Text1)) {
        prompts_->Inform("Valid file name error",
                         WithLengthProblem("You must enter a valid file name.", Text1));
        return;
    }
    if (SaveNewFile()) {
        closed_ = true;
        accepted_ = true;
    }
}

bool LibraryBrowser::SaveNewFile() {
    const LibraryFolder* folder = FolderOfNode(TreeView1.selected);
    if (folder == nullptr) {
        prompts_->Inform(kSaveErrorTitle, "You must select a folder before saving file.");
        return false;
    }
    const std::int32_t folderId = folder->id;
    const std::int32_t existing = library_.FindFormula(folderId, Text1);
    if (existing > 0 &&
        !prompts_->AskYesNo("File save",
                            "You are about to overwrite a file, do you wish to continue.")) {
        return false;
    }
    LibraryFormula formula = window_->CurrentFormula();
    formula.name = Text1;
    formula.description = RichTextBox1.text;
    Library updated = library_;
    const std::int32_t number =
        updated.StoreFormula(std::move(formula), std::to_string(folderId), existing);
    if (!Commit(std::move(updated), "File save")) {
        return false;
    }
    BuildTree();
    Select(FormulaKey(static_cast<std::size_t>(number)));
    const LibraryFormula& saved = *library_.Formula(number);
    window_->SetScanName(saved.name);
    window_->SetLibraryRecord({number, saved.folder, saved.name});
    return true;
}

void LibraryBrowser::OpenSelected() {
    const std::string& key = TreeView1.selected;
    if (!IsFormulaKey(key)) {
        return;
    }
    const std::int32_t number = KeyNumber(key);
    const LibraryFormula* formula = library_.Formula(number);
    if (formula == nullptr) {
        return;
    }
    window_->RestoreFormula(*formula);
    window_->SetLibraryRecord({number, formula->folder, formula->name});
    closed_ = true;
    accepted_ = true;
}

bool LibraryBrowser::Commit(Library updated, const std::string& title) {
    if (const Result<void> saved = SaveLibraryFile(file_, updated); !saved) {
        prompts_->Inform(title, "The library was not changed.\r\n" + saved.problem().Message(),
                         PromptIcon::Exclamation);
        return false;
    }
    library_ = std::move(updated);
    pending_ = false;
    return true;
}

} // namespace marlindex
