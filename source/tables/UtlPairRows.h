/// The rows of the pair tables, in order, as lists of texts. Layer: folds, internal.
///
/// UTL_X_ROWS(ROW) gives ROW("left", "right") for each row of X_PAIR. A row of two characters stands ahead of the
/// rows of the characters it begins with, since the first row that matches wins.
#ifndef UTL_PAIR_ROWS_H
#define UTL_PAIR_ROWS_H

// clang-format off

#define UTL_LOWER_UPPER_ROWS(ROW) \
    ROW("a", "A") ROW("b", "B") ROW("c", "C") ROW("d", "D") ROW("e", "E") ROW("f", "F") ROW("g", "G") \
    ROW("h", "H") ROW("i", "I") ROW("j", "J") ROW("k", "K") ROW("l", "L") ROW("m", "M") ROW("n", "N") \
    ROW("o", "O") ROW("p", "P") ROW("q", "Q") ROW("r", "R") ROW("s", "S") ROW("t", "T") ROW("u", "U") \
    ROW("v", "V") ROW("w", "W") ROW("x", "X") ROW("y", "Y") ROW("z", "Z") ROW("ａ", "Ａ") ROW("ｂ", "Ｂ") \
    ROW("ｃ", "Ｃ") ROW("ｄ", "Ｄ") ROW("ｅ", "Ｅ") ROW("ｆ", "Ｆ") ROW("ｇ", "Ｇ") ROW("ｈ", "Ｈ") \
    ROW("ｉ", "Ｉ") ROW("ｊ", "Ｊ") ROW("ｋ", "Ｋ") ROW("ｌ", "Ｌ") ROW("ｍ", "Ｍ") ROW("ｎ", "Ｎ") \
    ROW("ｏ", "Ｏ") ROW("ｐ", "Ｐ") ROW("ｑ", "Ｑ") ROW("ｒ", "Ｒ") ROW("ｓ", "Ｓ") ROW("ｔ", "Ｔ") \
    ROW("ｕ", "Ｕ") ROW("ｖ", "Ｖ") ROW("ｗ", "Ｗ") ROW("ｘ", "Ｘ") ROW("ｙ", "Ｙ") ROW("ｚ", "Ｚ")
#define UTL_HANKAKU_ZENKAKU_ROWS(ROW) \
    ROW(" ", "\u3000") ROW("!", "！") ROW("\"", "”") ROW("#", "＃") ROW("$", "＄") ROW("%", "％") \
    ROW("&", "＆") ROW("'", "’") ROW("(", "（") ROW(")", "）") ROW("*", "＊") ROW("+", "＋") ROW(",", "，") \
    ROW("-", "－") ROW(".", "．") ROW("/", "／") ROW(":", "：") ROW(";", "；") ROW("<", "＜") ROW("=", "＝") \
    ROW(">", "＞") ROW("?", "？") ROW("@", "＠") ROW("[", "［") ROW("\\", "￥") ROW("]", "］") \
    ROW("^", "＾") ROW("_", "＿") ROW("`", "｀") ROW("{", "｛") ROW("|", "｜") ROW("}", "｝") ROW("~", "～") \
    ROW("0", "０") ROW("1", "１") ROW("2", "２") ROW("3", "３") ROW("4", "４") ROW("5", "５") ROW("6", "６") \
    ROW("7", "７") ROW("8", "８") ROW("9", "９") ROW("a", "ａ") ROW("b", "ｂ") ROW("c", "ｃ") ROW("d", "ｄ") \
    ROW("e", "ｅ") ROW("f", "ｆ") ROW("g", "ｇ") ROW("h", "ｈ") ROW("i", "ｉ") ROW("j", "ｊ") ROW("k", "ｋ") \
    ROW("l", "ｌ") ROW("m", "ｍ") ROW("n", "ｎ") ROW("o", "ｏ") ROW("p", "ｐ") ROW("q", "ｑ") ROW("r", "ｒ") \
    ROW("s", "ｓ") ROW("t", "ｔ") ROW("u", "ｕ") ROW("v", "ｖ") ROW("w", "ｗ") ROW("x", "ｘ") ROW("y", "ｙ") \
    ROW("z", "ｚ") ROW("A", "Ａ") ROW("B", "Ｂ") ROW("C", "Ｃ") ROW("D", "Ｄ") ROW("E", "Ｅ") ROW("F", "Ｆ") \
    ROW("G", "Ｇ") ROW("H", "Ｈ") ROW("I", "Ｉ") ROW("J", "Ｊ") ROW("K", "Ｋ") ROW("L", "Ｌ") ROW("M", "Ｍ") \
    ROW("N", "Ｎ") ROW("O", "Ｏ") ROW("P", "Ｐ") ROW("Q", "Ｑ") ROW("R", "Ｒ") ROW("S", "Ｓ") ROW("T", "Ｔ") \
    ROW("U", "Ｕ") ROW("V", "Ｖ") ROW("W", "Ｗ") ROW("X", "Ｘ") ROW("Y", "Ｙ") ROW("Z", "Ｚ") \
    ROW("ｶﾞ", "ガ") ROW("ｷﾞ", "ギ") ROW("ｸﾞ", "グ") ROW("ｹﾞ", "ゲ") ROW("ｺﾞ", "ゴ") ROW("ｻﾞ", "ザ") \
    ROW("ｼﾞ", "ジ") ROW("ｽﾞ", "ズ") ROW("ｾﾞ", "ゼ") ROW("ｿﾞ", "ゾ") ROW("ﾀﾞ", "ダ") ROW("ﾁﾞ", "ヂ") \
    ROW("ﾂﾞ", "ヅ") ROW("ﾃﾞ", "デ") ROW("ﾄﾞ", "ド") ROW("ﾊﾞ", "バ") ROW("ﾋﾞ", "ビ") ROW("ﾌﾞ", "ブ") \
    ROW("ﾍﾞ", "ベ") ROW("ﾎﾞ", "ボ") ROW("ｳﾞ", "ヴ") ROW("ﾞ", "゛") ROW("ﾊﾟ", "パ") ROW("ﾋﾟ", "ピ") \
    ROW("ﾌﾟ", "プ") ROW("ﾍﾟ", "ペ") ROW("ﾎﾟ", "ポ") ROW("ﾟ", "゜") ROW("ｧ", "ァ") ROW("ｱ", "ア") \
    ROW("ｨ", "ィ") ROW("ｲ", "イ") ROW("ｩ", "ゥ") ROW("ｳ", "ウ") ROW("ｪ", "ェ") ROW("ｴ", "エ") ROW("ｫ", "ォ") \
    ROW("ｵ", "オ") ROW("ｶ", "カ") ROW("ｷ", "キ") ROW("ｸ", "ク") ROW("ｹ", "ケ") ROW("ｺ", "コ") ROW("ｻ", "サ") \
    ROW("ｼ", "シ") ROW("ｽ", "ス") ROW("ｾ", "セ") ROW("ｿ", "ソ") ROW("ﾀ", "タ") ROW("ﾁ", "チ") ROW("ｯ", "ッ") \
    ROW("ﾂ", "ツ") ROW("ﾃ", "テ") ROW("ﾄ", "ト") ROW("ﾅ", "ナ") ROW("ﾆ", "ニ") ROW("ﾇ", "ヌ") ROW("ﾈ", "ネ") \
    ROW("ﾉ", "ノ") ROW("ﾊ", "ハ") ROW("ﾋ", "ヒ") ROW("ﾌ", "フ") ROW("ﾍ", "ヘ") ROW("ﾎ", "ホ") ROW("ﾏ", "マ") \
    ROW("ﾐ", "ミ") ROW("ﾑ", "ム") ROW("ﾒ", "メ") ROW("ﾓ", "モ") ROW("ｬ", "ャ") ROW("ﾔ", "ヤ") ROW("ｭ", "ュ") \
    ROW("ﾕ", "ユ") ROW("ｮ", "ョ") ROW("ﾖ", "ヨ") ROW("ﾗ", "ラ") ROW("ﾘ", "リ") ROW("ﾙ", "ル") ROW("ﾚ", "レ") \
    ROW("ﾛ", "ロ") ROW("ﾜ", "ワ") ROW("ｦ", "ヲ") ROW("ﾝ", "ン") ROW("｡", "。") ROW("｢", "「") ROW("｣", "」") \
    ROW("､", "、") ROW("･", "・") ROW("ｰ", "ー")
#define UTL_NODAKUON_DAKUON_ROWS(ROW) \
    ROW("ｶ", "ｶﾞ") ROW("ｷ", "ｷﾞ") ROW("ｸ", "ｸﾞ") ROW("ｹ", "ｹﾞ") ROW("ｺ", "ｺﾞ") ROW("ｻ", "ｻﾞ") ROW("ｼ", "ｼﾞ") \
    ROW("ｽ", "ｽﾞ") ROW("ｾ", "ｾﾞ") ROW("ｿ", "ｿﾞ") ROW("ﾀ", "ﾀﾞ") ROW("ﾁ", "ﾁﾞ") ROW("ﾂ", "ﾂﾞ") ROW("ﾃ", "ﾃﾞ") \
    ROW("ﾄ", "ﾄﾞ") ROW("ﾊ", "ﾊﾞ") ROW("ﾋ", "ﾋﾞ") ROW("ﾌ", "ﾌﾞ") ROW("ﾍ", "ﾍﾞ") ROW("ﾎ", "ﾎﾞ") ROW("ｳ", "ｳﾞ") \
    ROW("", "ﾞ") ROW("カ", "ガ") ROW("キ", "ギ") ROW("ク", "グ") ROW("ケ", "ゲ") ROW("コ", "ゴ") \
    ROW("サ", "ザ") ROW("シ", "ジ") ROW("ス", "ズ") ROW("セ", "ゼ") ROW("ソ", "ゾ") ROW("タ", "ダ") \
    ROW("チ", "ヂ") ROW("ツ", "ヅ") ROW("テ", "デ") ROW("ト", "ド") ROW("ハ", "バ") ROW("ヒ", "ビ") \
    ROW("フ", "ブ") ROW("ヘ", "ベ") ROW("ホ", "ボ") ROW("ウ", "ヴ") ROW("ヽ", "ヾ") ROW("か", "が") \
    ROW("き", "ぎ") ROW("く", "ぐ") ROW("け", "げ") ROW("こ", "ご") ROW("さ", "ざ") ROW("し", "じ") \
    ROW("す", "ず") ROW("せ", "ぜ") ROW("そ", "ぞ") ROW("た", "だ") ROW("ち", "ぢ") ROW("つ", "づ") \
    ROW("て", "で") ROW("と", "ど") ROW("は", "ば") ROW("ひ", "び") ROW("ふ", "ぶ") ROW("へ", "べ") \
    ROW("ほ", "ぼ") ROW("ゝ", "ゞ") ROW("", "゛")
#define UTL_NODAKUON_HANDAKUON_ROWS(ROW) \
    ROW("ﾊ", "ﾊﾟ") ROW("ﾋ", "ﾋﾟ") ROW("ﾌ", "ﾌﾟ") ROW("ﾍ", "ﾍﾟ") ROW("ﾎ", "ﾎﾟ") ROW("", "ﾟ") ROW("ハ", "パ") \
    ROW("ヒ", "ピ") ROW("フ", "プ") ROW("ヘ", "ペ") ROW("ホ", "ポ") ROW("は", "ぱ") ROW("ひ", "ぴ") \
    ROW("ふ", "ぷ") ROW("へ", "ぺ") ROW("ほ", "ぽ") ROW("", "゜")
#define UTL_ZENKATA_HIRAGANA_ROWS(ROW) \
    ROW("ァ", "ぁ") ROW("ア", "あ") ROW("ィ", "ぃ") ROW("イ", "い") ROW("ゥ", "ぅ") ROW("ウ", "う") \
    ROW("ェ", "ぇ") ROW("エ", "え") ROW("ォ", "ぉ") ROW("オ", "お") ROW("カ", "か") ROW("キ", "き") \
    ROW("ク", "く") ROW("ケ", "け") ROW("コ", "こ") ROW("サ", "さ") ROW("シ", "し") ROW("ス", "す") \
    ROW("セ", "せ") ROW("ソ", "そ") ROW("タ", "た") ROW("チ", "ち") ROW("ッ", "っ") ROW("ツ", "つ") \
    ROW("テ", "て") ROW("ト", "と") ROW("ナ", "な") ROW("ニ", "に") ROW("ヌ", "ぬ") ROW("ネ", "ね") \
    ROW("ノ", "の") ROW("ハ", "は") ROW("ヒ", "ひ") ROW("フ", "ふ") ROW("ヘ", "へ") ROW("ホ", "ほ") \
    ROW("マ", "ま") ROW("ミ", "み") ROW("ム", "む") ROW("メ", "め") ROW("モ", "も") ROW("ャ", "ゃ") \
    ROW("ヤ", "や") ROW("ュ", "ゅ") ROW("ユ", "ゆ") ROW("ョ", "ょ") ROW("ヨ", "よ") ROW("ラ", "ら") \
    ROW("リ", "り") ROW("ル", "る") ROW("レ", "れ") ROW("ロ", "ろ") ROW("ワ", "わ") ROW("ヲ", "を") \
    ROW("ン", "ん") ROW("ガ", "が") ROW("ギ", "ぎ") ROW("グ", "ぐ") ROW("ゲ", "げ") ROW("ゴ", "ご") \
    ROW("ザ", "ざ") ROW("ジ", "じ") ROW("ズ", "ず") ROW("ゼ", "ぜ") ROW("ゾ", "ぞ") ROW("ダ", "だ") \
    ROW("ヂ", "ぢ") ROW("ヅ", "づ") ROW("デ", "で") ROW("ド", "ど") ROW("バ", "ば") ROW("ビ", "び") \
    ROW("ブ", "ぶ") ROW("ベ", "べ") ROW("ボ", "ぼ") ROW("パ", "ぱ") ROW("ピ", "ぴ") ROW("プ", "ぷ") \
    ROW("ペ", "ぺ") ROW("ポ", "ぽ") ROW("ヮ", "ゎ") ROW("ヴ", "う゛") ROW("ヰ", "ゐ") ROW("ヱ", "ゑ") \
    ROW("ヽ", "ゝ") ROW("ヾ", "ゞ")
#define UTL_HANKATA_HIRAGANA_ROWS(ROW) \
    ROW("ｶﾞ", "が") ROW("ｷﾞ", "ぎ") ROW("ｸﾞ", "ぐ") ROW("ｹﾞ", "げ") ROW("ｺﾞ", "ご") ROW("ｻﾞ", "ざ") \
    ROW("ｼﾞ", "じ") ROW("ｽﾞ", "ず") ROW("ｾﾞ", "ぜ") ROW("ｿﾞ", "ぞ") ROW("ﾀﾞ", "だ") ROW("ﾁﾞ", "ぢ") \
    ROW("ﾂﾞ", "づ") ROW("ﾃﾞ", "で") ROW("ﾄﾞ", "ど") ROW("ﾊﾞ", "ば") ROW("ﾋﾞ", "び") ROW("ﾌﾞ", "ぶ") \
    ROW("ﾍﾞ", "べ") ROW("ﾎﾞ", "ぼ") ROW("ﾞ", "゛") ROW("ﾊﾟ", "ぱ") ROW("ﾋﾟ", "ぴ") ROW("ﾌﾟ", "ぷ") \
    ROW("ﾍﾟ", "ぺ") ROW("ﾎﾟ", "ぽ") ROW("ﾟ", "゜") ROW("ｧ", "ぁ") ROW("ｱ", "あ") ROW("ｨ", "ぃ") \
    ROW("ｲ", "い") ROW("ｩ", "ぅ") ROW("ｳ", "う") ROW("ｪ", "ぇ") ROW("ｴ", "え") ROW("ｫ", "ぉ") ROW("ｵ", "お") \
    ROW("ｶ", "か") ROW("ｷ", "き") ROW("ｸ", "く") ROW("ｹ", "け") ROW("ｺ", "こ") ROW("ｻ", "さ") ROW("ｼ", "し") \
    ROW("ｽ", "す") ROW("ｾ", "せ") ROW("ｿ", "そ") ROW("ﾀ", "た") ROW("ﾁ", "ち") ROW("ｯ", "っ") ROW("ﾂ", "つ") \
    ROW("ﾃ", "て") ROW("ﾄ", "と") ROW("ﾅ", "な") ROW("ﾆ", "に") ROW("ﾇ", "ぬ") ROW("ﾈ", "ね") ROW("ﾉ", "の") \
    ROW("ﾊ", "は") ROW("ﾋ", "ひ") ROW("ﾌ", "ふ") ROW("ﾍ", "へ") ROW("ﾎ", "ほ") ROW("ﾏ", "ま") ROW("ﾐ", "み") \
    ROW("ﾑ", "む") ROW("ﾒ", "め") ROW("ﾓ", "も") ROW("ｬ", "ゃ") ROW("ﾔ", "や") ROW("ｭ", "ゅ") ROW("ﾕ", "ゆ") \
    ROW("ｮ", "ょ") ROW("ﾖ", "よ") ROW("ﾗ", "ら") ROW("ﾘ", "り") ROW("ﾙ", "る") ROW("ﾚ", "れ") ROW("ﾛ", "ろ") \
    ROW("ﾜ", "わ") ROW("ｦ", "を") ROW("ﾝ", "ん") ROW("｡", "。") ROW("｢", "「") ROW("｣", "」") ROW("､", "、") \
    ROW("･", "・") ROW("ｰ", "ー")

// clang-format on

#endif
