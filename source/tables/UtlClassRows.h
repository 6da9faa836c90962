/// The rows of the character tables, in order, as lists of texts. Layer: character classes, internal.
///
/// UTL_X_ROWS(ROW) gives ROW("text") for each row of X_TBL. One list serves the exported table, which needs each text
/// narrow and wide, and the index that stands in front of the tables.
#ifndef UTL_CLASS_ROWS_H
#define UTL_CLASS_ROWS_H

// clang-format off

#define UTL_KAIGYO_ROWS(ROW) \
    ROW("\r") ROW("\n")
#define UTL_TAB_FF_ROWS(ROW) \
    ROW("\t") ROW("\v") ROW("\f")
#define UTL_CTL_OTHER_ROWS(ROW) \
    ROW("\x01") ROW("\x02") ROW("\x03") ROW("\x04") ROW("\x05") ROW("\x06") ROW("\x07") ROW("\x08") \
    ROW("\x0E") ROW("\x0F") ROW("\x10") ROW("\x11") ROW("\x12") ROW("\x13") ROW("\x14") ROW("\x15") \
    ROW("\x16") ROW("\x17") ROW("\x18") ROW("\x19") ROW("\x1A") ROW("\x1B") ROW("\x1C") ROW("\x1D") \
    ROW("\x1E") ROW("\x1F") ROW("\x7F")
#define UTL_HAN_SPACE_ROWS(ROW) \
    ROW(" ")
#define UTL_ZEN_SPACE_ROWS(ROW) \
    ROW("\u3000")
#define UTL_HAN_MARK_ROWS(ROW) \
    ROW("!") ROW("\"") ROW("#") ROW("$") ROW("%") ROW("&") ROW("'") ROW("(") ROW(")") ROW("*") ROW("+") \
    ROW(",") ROW("-") ROW(".") ROW("/") ROW(":") ROW(";") ROW("<") ROW("=") ROW(">") ROW("?") ROW("@") \
    ROW("[") ROW("\\") ROW("]") ROW("^") ROW("_") ROW("`") ROW("{") ROW("|") ROW("}") ROW("~")
#define UTL_ZEN_MARK_ROWS(ROW) \
    ROW("！") ROW("”") ROW("＃") ROW("＄") ROW("％") ROW("＆") ROW("’") ROW("（") ROW("）") ROW("＊") \
    ROW("＋") ROW("，") ROW("－") ROW("．") ROW("／") ROW("：") ROW("；") ROW("＜") ROW("＝") ROW("＞") \
    ROW("？") ROW("＠") ROW("［") ROW("￥") ROW("］") ROW("＾") ROW("＿") ROW("｀") ROW("｛") ROW("｜") \
    ROW("｝") ROW("￣")
#define UTL_HAN_DIGIT_ROWS(ROW) \
    ROW("0") ROW("1") ROW("2") ROW("3") ROW("4") ROW("5") ROW("6") ROW("7") ROW("8") ROW("9")
#define UTL_ZEN_DIGIT_ROWS(ROW) \
    ROW("０") ROW("１") ROW("２") ROW("３") ROW("４") ROW("５") ROW("６") ROW("７") ROW("８") ROW("９")
#define UTL_HAN_SIGN_ROWS(ROW) \
    ROW("+") ROW("-")
#define UTL_ZEN_SIGN_ROWS(ROW) \
    ROW("＋") ROW("－")
#define UTL_HAN_HEX_PREFIX_ROWS(ROW) \
    ROW("0x")
#define UTL_ZEN_HEX_PREFIX_ROWS(ROW) \
    ROW("０ｘ")
#define UTL_HAN_HEX_SUFFIX_ROWS(ROW) \
    ROW("h") ROW("H")
#define UTL_ZEN_HEX_SUFFIX_ROWS(ROW) \
    ROW("ｈ") ROW("Ｈ")
#define UTL_LOWER_HAN_HEX_ALPHA_ROWS(ROW) \
    ROW("a") ROW("b") ROW("c") ROW("d") ROW("e") ROW("f")
#define UTL_UPPER_HAN_HEX_ALPHA_ROWS(ROW) \
    ROW("A") ROW("B") ROW("C") ROW("D") ROW("E") ROW("F")
#define UTL_LOWER_ZEN_HEX_ALPHA_ROWS(ROW) \
    ROW("ａ") ROW("ｂ") ROW("ｃ") ROW("ｄ") ROW("ｅ") ROW("ｆ")
#define UTL_UPPER_ZEN_HEX_ALPHA_ROWS(ROW) \
    ROW("Ａ") ROW("Ｂ") ROW("Ｃ") ROW("Ｄ") ROW("Ｅ") ROW("Ｆ")
#define UTL_LOWER_HAN_NOHEX_ALPHA_ROWS(ROW) \
    ROW("g") ROW("h") ROW("i") ROW("j") ROW("k") ROW("l") ROW("m") ROW("n") ROW("o") ROW("p") ROW("q") \
    ROW("r") ROW("s") ROW("t") ROW("u") ROW("v") ROW("w") ROW("x") ROW("y") ROW("z")
#define UTL_UPPER_HAN_NOHEX_ALPHA_ROWS(ROW) \
    ROW("G") ROW("H") ROW("I") ROW("J") ROW("K") ROW("L") ROW("M") ROW("N") ROW("O") ROW("P") ROW("Q") \
    ROW("R") ROW("S") ROW("T") ROW("U") ROW("V") ROW("W") ROW("X") ROW("Y") ROW("Z")
#define UTL_LOWER_ZEN_NOHEX_ALPHA_ROWS(ROW) \
    ROW("ｇ") ROW("ｈ") ROW("ｉ") ROW("ｊ") ROW("ｋ") ROW("ｌ") ROW("ｍ") ROW("ｎ") ROW("ｏ") ROW("ｐ") \
    ROW("ｑ") ROW("ｒ") ROW("ｓ") ROW("ｔ") ROW("ｕ") ROW("ｖ") ROW("ｗ") ROW("ｘ") ROW("ｙ") ROW("ｚ")
#define UTL_UPPER_ZEN_NOHEX_ALPHA_ROWS(ROW) \
    ROW("Ｇ") ROW("Ｈ") ROW("Ｉ") ROW("Ｊ") ROW("Ｋ") ROW("Ｌ") ROW("Ｍ") ROW("Ｎ") ROW("Ｏ") ROW("Ｐ") \
    ROW("Ｑ") ROW("Ｒ") ROW("Ｓ") ROW("Ｔ") ROW("Ｕ") ROW("Ｖ") ROW("Ｗ") ROW("Ｘ") ROW("Ｙ") ROW("Ｚ")
#define UTL_NODAKU_HAN_KATA_ROWS(ROW) \
    ROW("ｧ") ROW("ｱ") ROW("ｨ") ROW("ｲ") ROW("ｩ") ROW("ｳ") ROW("ｪ") ROW("ｴ") ROW("ｫ") ROW("ｵ") ROW("ｶ") \
    ROW("ｷ") ROW("ｸ") ROW("ｹ") ROW("ｺ") ROW("ｻ") ROW("ｼ") ROW("ｽ") ROW("ｾ") ROW("ｿ") ROW("ﾀ") ROW("ﾁ") \
    ROW("ｯ") ROW("ﾂ") ROW("ﾃ") ROW("ﾄ") ROW("ﾅ") ROW("ﾆ") ROW("ﾇ") ROW("ﾈ") ROW("ﾉ") ROW("ﾊ") ROW("ﾋ") \
    ROW("ﾌ") ROW("ﾍ") ROW("ﾎ") ROW("ﾏ") ROW("ﾐ") ROW("ﾑ") ROW("ﾒ") ROW("ﾓ") ROW("ｬ") ROW("ﾔ") ROW("ｭ") \
    ROW("ﾕ") ROW("ｮ") ROW("ﾖ") ROW("ﾗ") ROW("ﾘ") ROW("ﾙ") ROW("ﾚ") ROW("ﾛ") ROW("ﾜ") ROW("ｦ") ROW("ﾝ") \
    ROW("｡") ROW("｢") ROW("｣") ROW("､") ROW("･") ROW("ｰ")
#define UTL_NODAKU_ZEN_KATA_ROWS(ROW) \
    ROW("ァ") ROW("ア") ROW("ィ") ROW("イ") ROW("ゥ") ROW("ウ") ROW("ェ") ROW("エ") ROW("ォ") ROW("オ") \
    ROW("カ") ROW("キ") ROW("ク") ROW("ケ") ROW("コ") ROW("サ") ROW("シ") ROW("ス") ROW("セ") ROW("ソ") \
    ROW("タ") ROW("チ") ROW("ッ") ROW("ツ") ROW("テ") ROW("ト") ROW("ナ") ROW("ニ") ROW("ヌ") ROW("ネ") \
    ROW("ノ") ROW("ハ") ROW("ヒ") ROW("フ") ROW("ヘ") ROW("ホ") ROW("マ") ROW("ミ") ROW("ム") ROW("メ") \
    ROW("モ") ROW("ャ") ROW("ヤ") ROW("ュ") ROW("ユ") ROW("ョ") ROW("ヨ") ROW("ラ") ROW("リ") ROW("ル") \
    ROW("レ") ROW("ロ") ROW("ワ") ROW("ヲ") ROW("ン") ROW("ヮ") ROW("ヰ") ROW("ヱ") ROW("ヵ") ROW("ヶ") \
    ROW("ヽ") ROW("。") ROW("「") ROW("」") ROW("、") ROW("・") ROW("ー")
#define UTL_DAKU_HAN_KATA_ROWS(ROW) \
    ROW("ｶﾞ") ROW("ｷﾞ") ROW("ｸﾞ") ROW("ｹﾞ") ROW("ｺﾞ") ROW("ｻﾞ") ROW("ｼﾞ") ROW("ｽﾞ") ROW("ｾﾞ") ROW("ｿﾞ") \
    ROW("ﾀﾞ") ROW("ﾁﾞ") ROW("ﾂﾞ") ROW("ﾃﾞ") ROW("ﾄﾞ") ROW("ﾊﾞ") ROW("ﾋﾞ") ROW("ﾌﾞ") ROW("ﾍﾞ") ROW("ﾎﾞ") \
    ROW("ｳﾞ") ROW("ﾞ")
#define UTL_DAKU_ZEN_KATA_ROWS(ROW) \
    ROW("ガ") ROW("ギ") ROW("グ") ROW("ゲ") ROW("ゴ") ROW("ザ") ROW("ジ") ROW("ズ") ROW("ゼ") ROW("ゾ") \
    ROW("ダ") ROW("ヂ") ROW("ヅ") ROW("デ") ROW("ド") ROW("バ") ROW("ビ") ROW("ブ") ROW("ベ") ROW("ボ") \
    ROW("ヴ") ROW("ヾ") ROW("゛")
#define UTL_HANDAKU_HAN_KATA_ROWS(ROW) \
    ROW("ﾊﾟ") ROW("ﾋﾟ") ROW("ﾌﾟ") ROW("ﾍﾟ") ROW("ﾎﾟ") ROW("ﾟ")
#define UTL_HANDAKU_ZEN_KATA_ROWS(ROW) \
    ROW("パ") ROW("ピ") ROW("プ") ROW("ペ") ROW("ポ") ROW("゜")
#define UTL_HAN_KATA_YOUSOKU_ROWS(ROW) \
    ROW("ｧ") ROW("ｨ") ROW("ｩ") ROW("ｪ") ROW("ｫ") ROW("ｬ") ROW("ｭ") ROW("ｮ") ROW("ｯ")
#define UTL_ZEN_KATA_YOUSOKU_ROWS(ROW) \
    ROW("ァ") ROW("ィ") ROW("ゥ") ROW("ェ") ROW("ォ") ROW("ャ") ROW("ュ") ROW("ョ") ROW("ッ") ROW("ヮ")
#define UTL_NODAKU_HIRA_ROWS(ROW) \
    ROW("ぁ") ROW("あ") ROW("ぃ") ROW("い") ROW("ぅ") ROW("う") ROW("ぇ") ROW("え") ROW("ぉ") ROW("お") \
    ROW("か") ROW("き") ROW("く") ROW("け") ROW("こ") ROW("さ") ROW("し") ROW("す") ROW("せ") ROW("そ") \
    ROW("た") ROW("ち") ROW("っ") ROW("つ") ROW("て") ROW("と") ROW("な") ROW("に") ROW("ぬ") ROW("ね") \
    ROW("の") ROW("は") ROW("ひ") ROW("ふ") ROW("へ") ROW("ほ") ROW("ま") ROW("み") ROW("む") ROW("め") \
    ROW("も") ROW("ゃ") ROW("や") ROW("ゅ") ROW("ゆ") ROW("ょ") ROW("よ") ROW("ら") ROW("り") ROW("る") \
    ROW("れ") ROW("ろ") ROW("わ") ROW("を") ROW("ん") ROW("ゎ") ROW("ゐ") ROW("ゑ") ROW("ゝ") ROW("。") \
    ROW("「") ROW("」") ROW("、") ROW("・") ROW("ー")
#define UTL_DAKU_HIRA_ROWS(ROW) \
    ROW("が") ROW("ぎ") ROW("ぐ") ROW("げ") ROW("ご") ROW("ざ") ROW("じ") ROW("ず") ROW("ぜ") ROW("ぞ") \
    ROW("だ") ROW("ぢ") ROW("づ") ROW("で") ROW("ど") ROW("ば") ROW("び") ROW("ぶ") ROW("べ") ROW("ぼ") \
    ROW("ゞ") ROW("。") ROW("「") ROW("」") ROW("、") ROW("・") ROW("゛")
#define UTL_HANDAKU_HIRA_ROWS(ROW) \
    ROW("ぱ") ROW("ぴ") ROW("ぷ") ROW("ぺ") ROW("ぽ") ROW("。") ROW("「") ROW("」") ROW("、") ROW("・") \
    ROW("゜")
#define UTL_HIRA_YOUSOKU_ROWS(ROW) \
    ROW("ぁ") ROW("ぃ") ROW("ぅ") ROW("ぇ") ROW("ぉ") ROW("ゃ") ROW("ゅ") ROW("ょ") ROW("っ") ROW("ゎ")
#define UTL_HAN_DAKUTEN_ROWS(ROW) \
    ROW("ﾞ")
#define UTL_ZEN_DAKUTEN_ROWS(ROW) \
    ROW("゛")
#define UTL_HAN_HANDAKUTEN_ROWS(ROW) \
    ROW("ﾟ")
#define UTL_ZEN_HANDAKUTEN_ROWS(ROW) \
    ROW("゜")

// clang-format on

#endif
